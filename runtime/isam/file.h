// An open pair of files as this process sees it: its record, opening, closing and headers.
// change.h says how it is read and changed.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/isam/change_step.h"
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
  std::uint32_t seat = 0;   // the byte of kSeatLocks that we hold
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
  std::vector<std::uint64_t> intact_slots;  // a bit each: its check was right, or made here
  std::vector<std::uint8_t> intact_pages;  // by page: its check was right, or has become void since

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
// Puts the file in use on the disk. Not the writer's.
int file_put_in_use(File& file);

// ---- Headers

// Takes over what the data file's header says of its records and keys.
void set_shapes(File& file, const DataHeader& header);
// Finds the first whole header of the data file. 105 when neither is; 103 when it claims more than
// 16 keys, or one that cannot be.
int find_data_header(File& file, DataHeader& header);
// Writes the header of an index that is being built.
int write_index_header(File& file, std::uint64_t id);

// ---- The register lock

// Serialises who comes and goes, and who takes over from the dead: held while a process opens or
// closes a file, and while one looks whether the writer is alive. May be taken again by who has it.
// 113 after so many rounds of waiting, most of them a millisecond each, so some ten seconds:
// whoever has it has it for moments, but for one who makes the indexes again; and somebody who may
// only read the file can lock it for as long as he likes.
inline constexpr int kRoundsToRegister = 10'000;
int register_lock(File& file, int most_rounds = kRoundsToRegister);
void register_unlock(File& file);

}  // namespace marigold::isam
