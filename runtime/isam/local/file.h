// SPDX-License-Identifier: GPL-3.0-or-later
// An open pair of files in this process: the record File, opening and closing, headers. change.h
// says how a pair is read and changed.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/common/key.h"
#include "runtime/isam/local/layout.h"
#include "runtime/isam/local/slot_hints.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner::isam {

// Values derived from a key once and used at every step in its tree.
struct TreeShape {
  KeyDescription key;
  bool duplicates = false;
  std::uint32_t key_length = 0;
  // Bytes by which entries are ordered: the key and, if it allows duplicates, the sequence after
  // it.
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
  int users = 0;           // descriptors of this process on the file
  int snapshots = 0;       // snapshots that this process reads
  bool writable = false;   // the system lets this process change both files
  bool exclusive = false;  // no other process may have the file open
  // Off while the trees are rebuilt: an interrupted rebuild starts over, so nothing is saved for an
  // undo.
  bool logging = true;
  std::uint32_t seat = 0;   // number of the byte after kSeatLocks that this process holds
  std::uint32_t turns = 0;  // turns as the writer since this process last waited for one
  std::uint32_t record_length = 0;
  std::uint32_t slot_size = 0;
  // Bytes of the files that are mapped; other processes may have added more.
  std::uint64_t index_space = 0;
  std::uint64_t data_space = 0;
  // Slots within data_space. No higher number is followed, whatever a changing header says.
  std::uint64_t slots = 0;
  int registering = 0;  // how often this process holds the register lock
  int hit = 0;          // error of a missing page in the operation that goes on; see hit.h
  std::vector<TreeShape> trees;
  // Pages this change has saved already, or made. Has room for all that the undo area can hold, so
  // that no change runs out of memory.
  std::vector<PageNumber> saved_pages;
  // Rests of this process in an epoch while another process settled deletions.
  struct {
    std::uint32_t epoch = 0;
    int count = 0;
  } rests;
  // Attempts of the change going on to get free slots by settling deletions.
  struct {
    bool ripe_tried = false;
    bool all_tried = false;
  } settling;
  std::function<int()> guard;               // see isguard
  std::vector<std::uint64_t> locked_bytes;  // of the records that this process has locked; sorted
  const char* made_anew = "";               // why opening the file rebuilt its indexes
  SlotHints hints;
  // A bit for each slot: this process has made its checksum, or found it right.
  std::vector<std::uint64_t> intact_slots;
  // A byte for each page: this process has made it, or found its checksum right or void.
  std::vector<std::uint8_t> intact_pages;

  // Whether only the locks are left; see file_retire.
  [[nodiscard]] bool is_retired() const { return index.memory() == nullptr; }
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
  // The caller wants to change the file. Otherwise the file is opened read-only where the system
  // allows no more.
  bool write = false;
  // Base whose files give the new ones their owner and permissions when a pair is built; "" for
  // none.
  std::string access_of = {};
};

// Pages of the undo area that a change of these trees can need.
std::uint64_t undo_pages_needed(std::span<const TreeShape> trees);

// Writes both copies of the data file's header with these keys and syncs each before the next, so
// that one copy is whole at any moment.
int file_write_keys(File& file, std::span<const TreeShape> trees);

// Creates both files and opens them. Other processes cannot open them in between. On a failure no
// file is left.
int file_build(File& file, const OpenRequest& request, std::uint32_t record_length,
               const KeyDescription& primary);
// Opens both files, takes the use lock (113), undoes the change of a process that died, and
// rebuilds the indexes after a power loss.
int file_open(std::shared_ptr<File>& file, const OpenRequest& request);
// Brings everything to the disk, and marks the file clean if no other process has it open. Both
// files are closed even on a failure.
int file_close(File& file);
// Does the work of file_close, but keeps both files open and locked, without memory: on every
// system another file can then take their names, or they can be removed, before other processes
// open anything there. Only file_close may follow.
int file_retire(File& file);
// Gives the memory of both files back before they are replaced or removed, and does no more; and
// takes it again if they have stayed.
void file_unmap(File& file);
int file_map_again(File& file);
// Makes all records durable. The indexes can be rebuilt from them.
int file_flush(File& file);
// Puts the file in use on the disk. The caller must not be the writer.
int file_put_in_use(File& file);

// ---- Headers

// Takes record length and keys from the data file's header.
void set_shapes(File& file, const DataHeader& header);
// Finds the first whole copy of the data file's header. 105 when both are damaged; 103 when it
// claims more than 16 keys, or an invalid one.
int find_data_header(File& file, DataHeader& header);
// Writes the header of an index that is being built.
int write_index_header(File& file, std::uint64_t id);

// ---- The register lock

// Serialises processes that open or close a file, put it in use, or take the writer lock from a
// dead writer. A process may take the lock again while it holds it. 113 after `most_rounds` rounds
// of waiting: most take a millisecond, so the default is some ten seconds. Holders need it for
// moments, except for a rebuild of the indexes; but a process that may only read the file can hold
// it for ever.
inline constexpr int kRoundsToRegister = 10'000;
int register_lock(File& file, int most_rounds = kRoundsToRegister);
void register_unlock(File& file);

}  // namespace marigold::inner::isam
