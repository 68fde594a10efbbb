// SPDX-License-Identifier: GPL-3.0-or-later
// Layout of the two files. All numbers are little-endian; an offset is a number of bytes from 0.
//
// Index file: pages of 2048 bytes. Page 0 is the header; the pages from 1 on are the undo area;
// every other page below `page_count` is a node of a tree or free. docs/formats/isam-index.md has a
// drawing.
//
// Data file: a header of 4096 bytes, then slots of one size, each with a record or free.
// docs/formats/isam-data.md has a drawing.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "runtime/isam/common/isam.h"
#include "runtime/platform/boot_identity.h"
#include "runtime/platform/opened_file.h"

namespace marigold::inner::isam {

static_assert(std::endian::native == std::endian::little,
              "the files are read as they lie in memory");

inline constexpr std::uint64_t kPageSize = 2048;
inline constexpr std::array<std::uint8_t, 2> kIndexMagic = {0xFE, 0x53};
inline constexpr std::array<std::uint8_t, 2> kDataMagic = {0xFE, 0x44};
inline constexpr std::uint16_t kIndexVersion = 4;
// Has no stamps and is otherwise the same: put_in_use turns such an index into one of the present
// version.
inline constexpr std::uint16_t kUnstampedIndexVersion = 3;
// Has other nodes: opening such an index rebuilds it.
inline constexpr std::uint16_t kFormerIndexVersion = 2;
inline constexpr std::uint16_t kDataVersion = 1;
inline constexpr std::uint64_t kUndoStart = 1;  // the undo area's first page

using PageNumber = std::uint32_t;  // 0, the header's own page, stands for none
using SlotNumber = std::uint32_t;  // from 1; 0 stands for none

// ---- The data file

struct DataHeader {
  std::array<std::uint8_t, 2> magic;
  std::uint16_t version;
  std::uint32_t record_length;
  std::uint64_t file_id;  // the same in both files of a pair
  std::uint32_t key_count;
  std::uint32_t checksum;  // of the header with this field 0
  std::array<KeyDescription, kIsMostKeys> keys;
};

// Offset of slot 1.
inline constexpr std::uint64_t kDataStart = 4096;

// Offsets of the two copies of the header. Writing one leaves the other one whole; the first whole
// copy rules.
inline constexpr std::array<std::uint64_t, 2> kDataHeaders = {0, kDataStart / 2};
// Offset of the last settled epoch, which is stored twice in one word of 8 bytes.
inline constexpr std::uint64_t kSettledEpoch = 1024;
inline constexpr std::uint64_t kTwice = (std::uint64_t{1} << 32) + 1;
static_assert(sizeof(DataHeader) <= kSettledEpoch);

// Follows the settled epoch in the same sector: the stamp that shows which index belongs to the
// data. The index holds the same stamp.
struct DataMark {
  // Even: drawn when the pair was put in use, before its first change. Odd: drawn when the pair was
  // closed, after its last change. 0: an engine without stamps has written the file.
  std::uint64_t stamp;
  std::uint64_t file_number;  // number of the file itself while it is in use; a copy has another
};
inline constexpr std::uint64_t kDataMark = kSettledEpoch + sizeof(std::uint64_t);

// Slot: this header, then the bytes of the record.
struct SlotHeader {
  // Checksum of sequence and record; in a gone slot xor the epoch of the deletion. Has no meaning
  // in a free slot.
  std::uint32_t checksum;
  SlotNumber next;  // gone or free: the next slot of its chain, or 0
  std::uint16_t state;
  // Number of the record in the order of writing, over the life of the file: 48 bits, the lowest 16
  // first. Orders equal keys, and shows which of two records with one primary key is the later.
  std::array<std::uint16_t, 3> sequence;
};

// States of a slot. The slot of a deleted record is gone: nothing is written there until everything
// stored so far is durable. So a program that replaces a record by deleting it and writing it again
// has, after a power loss, the old record or the new one. Deletions are counted in epochs, and one
// word in the header holds the last settled epoch, so that a single store makes all deletions of an
// epoch final.
inline constexpr std::uint16_t kSlotUnused = 0;
inline constexpr std::uint16_t kSlotLive = 0x4C4C;
inline constexpr std::uint16_t kSlotGone = 0x4747;
inline constexpr std::uint16_t kSlotFree = 0x4646;

inline constexpr std::uint64_t kLastSequence = (std::uint64_t{1} << 48) - 1;

// ---- The index file

// State of a file that is not open; pairing.cc changes it.
inline constexpr std::uint32_t kStateClean = 0;    // index and data fit, every checksum is valid
inline constexpr std::uint32_t kStateInUse = 1;    // fit as long as this run of the machine lasts
inline constexpr std::uint32_t kStateRebuild = 2;  // trees mean nothing: rebuild them
inline constexpr std::uint32_t kStateNewborn = 3;  // being built: treated as missing

struct TreeHeader {
  PageNumber root;
  std::uint32_t levels;  // 1: the root is a leaf
  std::uint64_t entries;
};

// Slots that are linked by SlotHeader::next.
struct SlotChain {
  std::uint64_t first;  // the latest one, or 0
  std::uint64_t last;   // valid if first is not 0
  std::uint64_t count;
};

// Values that an operation may change, and that undo restores in one piece.
struct Contents {
  std::uint64_t page_count;  // pages in use or free, the header's own included
  std::uint64_t free_page;   // first of the free pages, or 0
  std::uint64_t free_pages;
  std::uint64_t slot_count;  // slots ever used; the next new slot is this + 1
  std::uint64_t free_slot;   // first of the free slots, or 0
  SlotChain gone;            // slots deleted in the current epoch
  SlotChain ripe;            // slots deleted in the epoch before, not settled
  std::uint64_t record_count;
  std::uint64_t sequence;        // of the last record written
  std::uint64_t epoch_sequence;  // the sequence when the epoch began
  std::uint32_t epoch;           // the settled one plus 1, or plus 2 while there are ripe slots
  std::uint32_t spare;
  std::array<TreeHeader, kIsMostKeys> trees;
};

struct IndexHeader {
  std::array<std::uint8_t, 2> magic;
  std::uint16_t version;
  std::uint32_t state;  // * one of the above
  std::uint64_t file_id;
  std::uint32_t writer;        // * lock of the writer: its seat plus 1; 0 when free
  std::uint32_t record_locks;  // * 1: a process has locked a record since the file was clean
  // * counts up at the start and the end of each change; odd during a change
  std::uint64_t changes;
  BootIdentity boot;         // * run of the machine in which the file was put in use
  std::uint64_t undo_pages;  // of the undo area, which begins with page 1
  std::uint64_t undo_used;   // bytes; 0: nothing to undo
  std::uint32_t checksum;    // of a clean file's header, without the fields marked *
  std::uint32_t heir;        // * seat plus 1 of the next writer; 0 for any
  Contents contents;
  std::uint64_t clean_stamp;  // the data file's stamp when both were closed
  std::uint64_t use_stamp;    // * the data file's stamp while they are in use
  std::uint64_t file_number;  // * number of the file itself while it is in use; a copy has another
  SlotChain kept;             // settled slots that a snapshot may still read
  // * 1: the file is part of a set of changes that is not finished; see isguard.
  std::uint64_t mark;
};
// A disk writes a sector whole or not at all.
static_assert(sizeof(IndexHeader) <= 512);
static_assert(std::is_trivially_copyable_v<IndexHeader> &&
              std::is_trivially_copyable_v<DataHeader>);

struct PageHeader {
  // Checksum of the rest of the header and the entries, never 0. 0 means void: changed since the
  // file was clean.
  std::uint32_t checksum;
  std::uint8_t kind;
  std::uint8_t tree;  // tree of the node
  std::uint16_t count;
  PageNumber previous;  // leaf: left neighbour
  PageNumber next;      // leaf: right neighbour; free page: next free page
  // Shape of a node. The common prefix of all entries stands once, before them; of each entry
  // follow `kept` bytes and its number.
  std::uint16_t prefix;
  std::uint16_t kept;
};

// Unused bytes at the end of a page, so that a read of 8 bytes from the start of any entry stays
// inside the page.
inline constexpr std::size_t kPageSlack = 8;

// Bytes of an entry's number: the record's slot in a leaf, the child's page in an inner node.
inline constexpr std::uint32_t kNumberLength = 4;

// Space for the prefix and entries of a node.
inline constexpr std::size_t kNodeSpace = kPageSize - sizeof(PageHeader) - kPageSlack;

inline std::size_t node_space(std::size_t count, std::size_t prefix, std::size_t kept) {
  return prefix + count * (kept + kNumberLength);
}
inline std::size_t node_space(const PageHeader& header) {
  return node_space(header.count, header.prefix, header.kept);
}

inline constexpr std::uint8_t kLeaf = 1;
inline constexpr std::uint8_t kInner = 2;
inline constexpr std::uint8_t kFreePage = 3;

// ---- Bytes for locks

// Held shared by all processes that have the file open, or exclusively by one.
inline constexpr std::uint64_t kUseLock = kFirstLock;
// One byte for each process that may write the file: its seat.
inline constexpr std::uint64_t kSeatLocks = kUseLock + 1;
inline constexpr std::uint32_t kSeats = 4096;
inline constexpr std::uint64_t kRegisterLock = kSeatLocks + kSeats;
// Held exclusively by the process that settles deletions.
inline constexpr std::uint64_t kSettleLock = kRegisterLock + 1;
// Held shared by all processes that read a snapshot.
inline constexpr std::uint64_t kSnapshotLock = kSettleLock + 1;
// Held shared by a process that has the file for itself and may not write it: such a process can
// take no exclusive lock.
inline constexpr std::uint64_t kAloneLock = kUseLock + (std::uint64_t{1} << 32);
// Held shared by all processes of one run of a machine: one of so many bytes, drawn by its
// identity. A process that finds another byte locked has met a process of another machine.
inline constexpr std::uint64_t kRunLocks = kAloneLock + 1;
inline constexpr std::uint64_t kRunLockBytes = std::uint64_t{1} << 31;
// Held by the process that has locked a record: one of so many bytes, drawn by the primary key. So
// the lock outlives a record that is deleted and written again, and also protects a key without a
// record.
inline constexpr std::uint64_t kRecordLocks = kUseLock + (std::uint64_t{1} << 33);
inline constexpr std::uint64_t kRecordLockBytes = std::uint64_t{1} << 61;
static_assert(kRecordLocks + kRecordLockBytes <= kPlatformLocks);

}  // namespace marigold::inner::isam
