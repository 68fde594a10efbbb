// What stands where in the two files. All numbers are little-endian; an offset is a number of bytes
// from 0.
//
// Index file: pages of 2048 bytes. Page 0 is the header; pages from 1 on hold the undo
// area; every other page below `page_count` is a node of a tree or free. docs/formats/isam-index.md
// draws it.
//
// Data file: a header of 4096 bytes, then slots of one size, each with a record or free.
// docs/formats/isam-data.md draws it.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "runtime/isam/isam.h"
#include "runtime/platform/boot_identity.h"

namespace marigold::isam {

static_assert(std::endian::native == std::endian::little,
              "the files are read as they lie in memory");

inline constexpr std::uint64_t kPageSize = 2048;
inline constexpr std::array<std::uint8_t, 2> kIndexMagic = {0xFE, 0x53};
inline constexpr std::array<std::uint8_t, 2> kDataMagic = {0xFE, 0x44};
inline constexpr std::uint16_t kIndexVersion = 4;
// Without stamps, else the same: becomes one of this version when it is put in use.
inline constexpr std::uint16_t kUnstampedIndexVersion = 3;
// Its nodes were others: whoever opens such an index makes it anew.
inline constexpr std::uint16_t kFormerIndexVersion = 2;
inline constexpr std::uint16_t kDataVersion = 1;
inline constexpr std::uint64_t kUndoStart = 1;  // the undo area's first page

using PageNumber = std::uint32_t;  // 0, the header's own, stands for none
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

// Where the slots begin.
inline constexpr std::uint64_t kDataStart = 4096;

// The header stands twice before them, so that writing one leaves the other whole; the first
// whole one rules.
inline constexpr std::array<std::uint64_t, 2> kDataHeaders = {0, kDataStart / 2};
// Where the last epoch stands of which every deletion is final: twice, in one word of 8 bytes.
inline constexpr std::uint64_t kSettledEpoch = 1024;
inline constexpr std::uint64_t kTwice = (std::uint64_t{1} << 32) + 1;
static_assert(sizeof(DataHeader) <= kSettledEpoch);

// Behind it, in the same sector: which index belongs to the data. The index holds the same stamp.
struct DataMark {
  // Even: drawn when the pair was put in use, before its first change. Odd: when it was closed,
  // after its last one. 0: by an engine that drew none.
  std::uint64_t stamp;
  std::uint64_t file_number;  // the file's own while it is in use: a copy has another
};
inline constexpr std::uint64_t kDataMark = kSettledEpoch + sizeof(std::uint64_t);

// A slot: this header, and the record's bytes.
struct SlotHeader {
  // Of the sequence and the record; in a gone slot xor the epoch in which it was deleted. Means
  // nothing in a free slot.
  std::uint32_t checksum;
  SlotNumber next;  // gone or free: the next slot of its chain, or 0
  std::uint16_t state;
  // When the record was written, counted over the life of the file, 48 bits, the lowest 16 first.
  // It orders equal keys, and tells the later of two records with one primary key.
  std::array<std::uint16_t, 3> sequence;
};

// A deleted record's slot is gone: nothing is written there until everything stored so far is on
// the disk. Whoever replaces a record by deleting and writing it has, after a power loss, the old
// one or the new one. Deletions are counted in epochs, and one word in the header says up to which
// epoch they are final; so they become that with one store, however many they are.
inline constexpr std::uint16_t kSlotUnused = 0;
inline constexpr std::uint16_t kSlotLive = 0x4C4C;
inline constexpr std::uint16_t kSlotGone = 0x4747;
inline constexpr std::uint16_t kSlotFree = 0x4646;

inline constexpr std::uint64_t kLastSequence = (std::uint64_t{1} << 48) - 1;

// ---- The index file

// How a file stands that is not open; see file.cc for who changes it when.
inline constexpr std::uint32_t kStateClean = 0;    // index and data fit, every check is valid
inline constexpr std::uint32_t kStateInUse = 1;    // fit as long as this run of the machine lasts
inline constexpr std::uint32_t kStateRebuild = 2;  // trees mean nothing: make them from the data
inline constexpr std::uint32_t kStateNewborn = 3;  // being built: as if it were not there

struct TreeHeader {
  PageNumber root;
  std::uint32_t levels;  // 1: the root is a leaf
  std::uint64_t entries;
};

// Slots that are linked by SlotHeader::next.
struct SlotChain {
  std::uint64_t first;  // the one that came last, or 0
  std::uint64_t last;   // when there is a first
  std::uint64_t count;
};

// What an operation may change, and undo restores in one piece.
struct Contents {
  std::uint64_t page_count;  // pages in use or free, the header's own included
  std::uint64_t free_page;   // first of the free pages, or 0
  std::uint64_t free_pages;
  std::uint64_t slot_count;  // slots ever used; the next new one is this + 1
  std::uint64_t free_slot;   // first of the free slots, or 0
  SlotChain gone;            // slots given up in this epoch
  SlotChain ripe;            // and in earlier ones that are not settled
  std::uint64_t record_count;
  std::uint64_t sequence;        // of the last record written
  std::uint64_t epoch_sequence;  // the same when the epoch began
  std::uint32_t epoch;           // the settled one plus 1, or plus 2 while there are ripe slots
  std::uint32_t spare;
  std::array<TreeHeader, kIsMostKeys> trees;
};

struct IndexHeader {
  std::array<std::uint8_t, 2> magic;
  std::uint16_t version;
  std::uint32_t state;  // * one of the above
  std::uint64_t file_id;
  std::uint32_t writer;        // * who is changing the file: its place plus 1; 0 for nobody
  std::uint32_t record_locks;  // * 1: some process has locked a record since the file was clean
  // * counts up at the start and the end of each change; odd while one is going on
  std::uint64_t changes;
  BootIdentity boot;         // * of the machine's run in which the file was put in use
  std::uint64_t undo_pages;  // of the undo area, which begins with page 1
  std::uint64_t undo_used;   // bytes; 0: nothing to undo
  std::uint32_t checksum;    // of a clean file's header, the fields marked * left out
  std::uint32_t heir;        // * who is to change the file next: its place plus 1; 0 for anybody
  Contents contents;
  std::uint64_t clean_stamp;  // the data file's when both were closed
  std::uint64_t use_stamp;    // * and while they are in use
  std::uint64_t file_number;  // * the file's own while it is in use: a copy has another
  SlotChain kept;             // settled slots that a snapshot may still read
};
// A disk writes it whole or not at all.
static_assert(sizeof(IndexHeader) <= 512);
static_assert(std::is_trivially_copyable_v<IndexHeader> &&
              std::is_trivially_copyable_v<DataHeader>);

struct PageHeader {
  // Of the rest of the header and the entries, never 0; 0: changed since the file was clean.
  std::uint32_t checksum;
  std::uint8_t kind;
  std::uint8_t tree;  // whose node it is
  std::uint16_t count;
  PageNumber previous;  // leaf: its left neighbour
  PageNumber next;      // leaf: its right neighbour; free page: the next free one
  // How a node keeps its entries: the bytes that all of them begin with stand once, before them,
  // and of each entry so many that follow, with its number behind.
  std::uint16_t prefix;
  std::uint16_t kept;
};

// Bytes at the end of a page that no entry has, so that 8 bytes can be taken from the start of any
// entry.
inline constexpr std::size_t kPageSlack = 8;

// Behind the bytes of an entry: the record's slot in a leaf, the child's page in an inner node.
inline constexpr std::uint32_t kNumberLength = 4;

// What is left for a node's prefix and entries.
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

// ---- Bytes that are locked, far beyond anything stored

// Shared by all who have the file open, or exclusive.
inline constexpr std::uint64_t kUseLock = std::uint64_t{1} << 62;
// One for each process that has the file open.
inline constexpr std::uint64_t kSeatLocks = kUseLock + 1;
inline constexpr std::uint32_t kSeats = 4096;
inline constexpr std::uint64_t kRegisterLock = kSeatLocks + kSeats;
// Exclusive: of the one who settles deletions, or brings them to the disk.
inline constexpr std::uint64_t kSettleLock = kRegisterLock + 1;
// Shared by all who read a snapshot.
inline constexpr std::uint64_t kSnapshotLock = kSettleLock + 1;
// Shared by who has the file for itself and may not write it, which takes no exclusive lock.
inline constexpr std::uint64_t kAloneLock = kUseLock + (std::uint64_t{1} << 32);
// Shared by all processes of one run of a machine: one of so many bytes, drawn by its identity.
// Whoever finds another one locked has met a process of another machine.
inline constexpr std::uint64_t kRunLocks = kAloneLock + 1;
inline constexpr std::uint64_t kRunLockBytes = std::uint64_t{1} << 31;
// The byte of a record: one of so many, drawn by its primary key. So the lock outlives a record
// that is deleted and written again, and holds the place of one that is not there.
inline constexpr std::uint64_t kRecordLocks = kUseLock + (std::uint64_t{1} << 33);
inline constexpr std::uint64_t kRecordLockBytes = std::uint64_t{1} << 61;

}  // namespace marigold::isam
