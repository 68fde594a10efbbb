// An open pair of files as this process sees it: where things lie, who may change them, and how a
// change stays whole.
//
// Readers take no lock. A reader notes IndexHeader::changes before and after; if a writer was at
// work meanwhile, what it read may be anything and is read again. So whatever a reader follows is
// checked against its bounds first.
//
// A writer puts its place into IndexHeader::writer, makes `changes` odd, saves every byte that it
// changes to the undo area before it changes it, and at the end forgets the undo area, makes
// `changes` even and gives the word back. A process that dies leaves its place behind in the word
// and gives its lock of that place back; whoever finds the word taken by a place that nobody holds
// takes the word over and undoes what the undo area holds.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/isam/checksum.h"
#include "runtime/isam/key.h"
#include "runtime/isam/layout.h"
#include "runtime/isam/slot_hints.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::isam {

// What is derived from a key once and used at every step in its tree.
struct TreeShape {
  KeyDescription key;
  bool duplicates = false;
  std::uint32_t key_length = 0;
  // Bytes by which entries are ordered: the key, and behind it the sequence of a key with
  // duplicates.
  std::uint32_t compare_length = 0;
};

inline constexpr std::uint32_t kSequenceLength = 6;
inline constexpr std::size_t kLongestCompare = kIsLongestKey + kSequenceLength;

TreeShape tree_shape(const KeyDescription& key);

struct File {
  MappedFile index;
  MappedFile data;
  std::string base;
  FileIdentity identity;
  int users = 0;           // descriptors of this process on it
  int snapshots = 0;       // of which this process reads so many
  bool writable = false;   // the system lets us change it
  bool exclusive = false;  // nobody else has it open
  // Off while the trees are made anew, which is begun again when it is interrupted.
  bool logging = true;
  std::uint32_t place = 0;  // the byte of kPlaceLocks that we hold
  std::uint32_t turns = 0;  // times that we had the word since we last waited for it
  std::uint32_t record_length = 0;
  std::uint32_t slot_size = 0;
  // Bytes that the files have and that are visible; others may have added more.
  std::uint64_t index_space = 0;
  std::uint64_t data_space = 0;
  // That are visible; no higher number may be followed, whatever a changing header says.
  std::uint64_t slots = 0;
  int registering = 0;  // how often we hold the register lock
  int hit = 0;          // why the operation that goes on was hit before; see hit.h
  std::vector<TreeShape> trees;
  // Of which this change need not save anything any more. Room for all that the undo area can hold,
  // so that no change runs out of memory.
  std::vector<PageNumber> saved_pages;
  // How often this process has rested in an epoch while another one settled.
  struct {
    std::uint32_t epoch = 0;
    int count = 0;
  } rests;
  // What the change going on has done about slots that are gone.
  struct {
    bool ripe_tried = false;
    bool all_tried = false;
  } settling;
  const char* made_anew = "";  // why the indexes were, when it was opened
  SlotHints hints;
  std::vector<std::uint64_t> verified_slots;  // a bit each: its check was right, or made here
  std::vector<std::uint8_t> verified;  // by page: its check was right, or has become void since

  [[nodiscard]] IndexHeader& header() const {
    return *reinterpret_cast<IndexHeader*>(index.memory());
  }
  [[nodiscard]] Contents& contents() const { return header().contents; }
  [[nodiscard]] std::byte* page(std::uint64_t number) const {
    return index.memory() + number * kPageSize;
  }
  [[nodiscard]] std::byte* slot(std::uint64_t number) const {
    return data.memory() + kDataStart + (number - 1) * slot_size;
  }
};

// ---- Opening and closing

struct OpenRequest {
  std::string index_path;
  std::string data_path;
  std::string base;
  bool exclusive = false;
  // The caller wants to change it; otherwise it is opened for reading where the system allows no
  // more.
  bool write = false;
  // Of building: the files take over owner and permissions of those of this base; "" for none.
  std::string access_of = {};
};

// The undo area that changes of these trees can need, in pages.
std::uint64_t undo_pages_needed(std::span<const TreeShape> trees);

// Writes the data file's header with these keys and syncs it, in such an order that one whole
// header is always there.
int file_write_keys(File& file, std::span<const TreeShape> trees);

// Makes a file longer, if it is not long enough, and some ahead. ENOSPC and so on; then it is as
// before.
int file_grow_index(File& file, std::uint64_t pages);

// Makes both files and opens them, without a moment in which they are there and not ours. On a
// failure none is left behind.
int file_build(File& file, const OpenRequest& request, std::uint32_t record_length,
               const KeyDescription& primary);
// Opens both files, takes the use lock (113), undoes what a process that died left half done, and
// makes the indexes again after a power loss.
int file_open(std::shared_ptr<File>& file, const OpenRequest& request);
// Brings all to the disk, and marks the file clean if nobody else has it open.
int file_close(File& file);
// Brings all records to the disk. The indexes can be made from them.
int file_flush(File& file);

// ---- Headers

// Takes over what the data file's header says of its records and keys.
void set_shapes(File& file, const DataHeader& header);
// Finds the first whole header of the data file. 105 when neither is; 103 when it claims more than
// 16 keys, or one that cannot be.
int find_data_header(File& file, DataHeader& header);
// Writes the header of an index that is being built.
int write_index_header(File& file, std::uint64_t id);

// ---- Changing

// Brings the data file to the disk and makes all gone slots free. Waits for whoever is doing that;
// 113 when it takes too long. Takes the right to change the file for moments only: the caller does
// not have it.
int slots_settle(File& file);
// The same for those that have been gone for a while, unless somebody else is doing it. The others
// may belong to records that are just being replaced.
int slots_settle_ripe(File& file);
// Whether so much is gone that it should be settled.
bool slots_are_due(const File& file);

// Takes the right to change the file, after whoever has it.
int writer_begin(File& file);
void writer_end(File& file);

// Runs something as the file's writer, and gives the right back however it ends.
template <typename Body>
int as_writer(File& file, Body body) {
  if (const int failed = writer_begin(file)) return failed;
  struct Scope {
    File& file;
    ~Scope() { writer_end(file); }
  };
  const Scope scope{file};
  return body();
}

// Instead of a result: the change needs something that waits for the disk, which nobody does who
// has the right to change the file. See as_prepared_writer.
inline constexpr int kPutInUseFirst = -1;
inline constexpr int kSettleRipeFirst = -2;
inline constexpr int kSettleAllFirst = -3;

// 0, or kPutInUseFirst: the file is put in use before its first change. The writer's.
inline int change_prepare(const File& file) {
  return file.header().state == kStateInUse ? 0 : kPutInUseFirst;
}
// Sees to it that adding a record finds the space that it may need: a slot, and a page for every
// level of every tree and one more.
int change_prepare_space(File& file);
// Puts the file in use on the disk. Not the writer's.
int file_put_in_use(File& file);

// Runs a change as the file's writer, and what it needs first without that right: others go on
// while the disk is waited for.
template <typename Change>
int as_prepared_writer(File& file, Change change) {
  file.settling = {};
  for (;;) {
    const int result = as_writer(file, change);
    int failed = 0;
    if (result == kPutInUseFirst) {
      failed = file_put_in_use(file);
    } else if (result == kSettleRipeFirst) {
      file.settling.ripe_tried = true;
      failed = slots_settle_ripe(file);
    } else if (result == kSettleAllFirst) {
      file.settling.all_tried = true;
      failed = slots_settle(file);
    } else {
      return result;
    }
    if (failed != 0) return failed;
  }
}
// Everything between these two is done whole or not at all. A change that fails in between is taken
// back by undo_all.
void change_begin(File& file);
void change_end(File& file);

// A point at which the process may die: everything stored so far is stored.
void change_step();

// Saves bytes of one of the two files before they are changed; within a change.
enum class Side : std::uint32_t { kIndex, kData };
void save(File& file, Side side, const std::byte* from, std::size_t length);

// Undoes what a change that was not finished has done, and makes `changes` even. The writer's.
int undo_all(File& file);

// Serialises who comes and goes, and who takes over from the dead: held while a process opens or
// closes a file, and while one looks whether the writer is alive. May be taken again by who has it.
// 113 after so many rounds of waiting, most of them a millisecond each, so some ten seconds:
// whoever has it has it for moments, but for one who makes the indexes again; and somebody who may
// only read the file can lock it for as long as he likes.
inline constexpr int kRoundsToRegister = 10'000;
int register_lock(File& file, int most_rounds = kRoundsToRegister);
void register_unlock(File& file);

// Counts the steps at which a change can be interrupted, for tests that kill a process at each.
// Null in every other program.
extern void (*change_step_hook)();

// ---- Pages and slots, within a change

// Taking gives 0 when what should be free is not: the file is damaged and the change must be
// undone. A slot that is given is gone, and can be taken when it is settled.
PageNumber page_take(File& file);
void page_give(File& file, PageNumber number);
SlotNumber slot_take(File& file);
void slot_give(File& file, SlotNumber number);

// ---- Reading

inline std::uint64_t sequence_of(const SlotHeader& header) {
  const auto& from = header.sequence;
  return from[0] | std::uint64_t{from[1]} << 16 | std::uint64_t{from[2]} << 32;
}
inline void set_sequence(SlotHeader& header, std::uint64_t value) {
  header.sequence = {static_cast<std::uint16_t>(value), static_cast<std::uint16_t>(value >> 16),
                     static_cast<std::uint16_t>(value >> 32)};
}

// The check of a slot as it stands: of its sequence and its record.
inline std::uint32_t slot_check(const File& file, const std::byte* slot) {
  constexpr std::size_t kFirst = offsetof(SlotHeader, sequence);
  return checksum({slot + kFirst, sizeof(SlotHeader) - kFirst + file.record_length},
                  file.header().file_id);
}

// Whether the slot holds a record whose check is right.
inline bool slot_is_live(const File& file, const std::byte* slot) {
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  return header->state == kSlotLive && header->check == slot_check(file, slot);
}

// Epochs that may have begun and are not settled: one with slots that are ripe, and the one that
// goes on.
inline constexpr std::uint32_t kOpenEpochs = 2;

inline std::uint64_t& settled_word(const File& file) {
  return *reinterpret_cast<std::uint64_t*>(file.data.memory() + kSettledEpoch);
}
inline std::uint32_t settled_epoch(const File& file) {
  return static_cast<std::uint32_t>(settled_word(file));
}

// The same after a power loss, which a record survives whose deletion is not settled. State and
// check of a slot may come from before and after a deletion.
inline bool slot_has_survived(const File& file, const std::byte* slot) {
  const auto* header = reinterpret_cast<const SlotHeader*>(slot);
  if (header->state != kSlotLive && header->state != kSlotGone) return false;
  const std::uint32_t epoch = header->check ^ slot_check(file, slot);
  return epoch == 0 || epoch - settled_epoch(file) - 1 < kOpenEpochs;
}

// The same with the check made only the first time that this process reads the slot: later nobody
// but an engine has changed it, and that makes the check anew.
inline bool slot_was_live(File& file, std::uint64_t number) {
  const std::byte* slot = file.slot(number);
  std::uint64_t& word = file.verified_slots[number / 64];
  const std::uint64_t bit = std::uint64_t{1} << number % 64;
  if ((word & bit) != 0) return reinterpret_cast<const SlotHeader*>(slot)->state == kSlotLive;
  if (!slot_is_live(file, slot)) return false;
  word |= bit;
  return true;
}
// The process has made the check itself.
inline void slot_is_verified(File& file, std::uint64_t number) {
  file.verified_slots[number / 64] |= std::uint64_t{1} << number % 64;
}

inline std::uint64_t index_bytes(const File& file) {
  return file.contents().page_count * kPageSize;
}
inline std::uint64_t data_bytes(const File& file) {
  return kDataStart + file.contents().slot_count * file.slot_size;
}

// Sees to it that everything that is now in the file is visible. 105 when the file is shorter than
// it says.
int make_grown_visible(File& file);
inline int make_visible(File& file) {
  const bool visible = index_bytes(file) <= file.index_space && data_bytes(file) <= file.data_space;
  return visible ? 0 : make_grown_visible(file);
}

// Whether the check of a page is right or void. Looked at the first time that this process sees the
// page.
bool page_check_is_right(File& file, PageNumber number);

// Whether a page may be followed: it is a node of this tree and level, its entries lie inside it,
// and its check is right or void. That is said of the copy of its header: a writer may be changing
// the page.
inline bool page_is_sound(File& file, PageNumber number, std::uint8_t kind, std::size_t tree,
                          PageHeader& header) {
  if (number == 0 || number >= file.verified.size()) return false;
  std::memcpy(&header, file.page(number), sizeof header);
  if (header.kind != kind || header.tree != tree || node_space(header) > kNodeSpace) return false;
  const std::uint32_t whole = file.trees[tree].compare_length;
  if (kind == kInner && (header.prefix != 0 || header.kept > whole)) return false;
  if (kind == kLeaf && header.prefix + header.kept != whole) return false;
  if (header.kept == 0) return false;
  return file.verified[number] != 0 || page_check_is_right(file, number);
}
inline bool page_is_sound(File& file, PageNumber number, std::uint8_t kind, std::size_t tree) {
  PageHeader header;
  return page_is_sound(file, number, kind, tree, header);
}

inline bool free_page_is_sound(File& file, PageNumber number) {
  if (number == 0 || number >= file.verified.size()) return false;
  const auto* header = reinterpret_cast<const PageHeader*>(file.page(number));
  return header->kind == kFreePage && page_check_is_right(file, number);
}

// The number of changes, even; waits for a writer, and undoes the work of one that died.
int read_begin(File& file, std::uint64_t& changes);
// Whether nothing was changed since.
bool read_was_whole(const File& file, std::uint64_t changes);

}  // namespace marigold::isam
