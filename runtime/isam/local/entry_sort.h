// SPDX-License-Identifier: GPL-3.0-or-later
// Sorts the entries of a tree in bounded memory: full runs are sorted and written to a file without
// a name; in the end all runs are merged. A file of few records has one run, which stays in memory.
//
// An entry consists of `compared` bytes, which order as a string, and the number of a slot. Entries
// with equal bytes come in any order.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/isam/local/layout.h"
#include "runtime/platform/spill_file.h"
#include "runtime/platform/worker.h"

namespace marigold::inner::isam {

using EntryBytes = std::vector<std::byte>;

// Resources that several sorts share: memory, the file and a second thread. The file and the thread
// are made when they are needed. Outlives the sorts.
struct SortRoom {
  // `beside`: a path in the directory for the file.
  SortRoom(std::size_t sorts, std::string beside);
  ~SortRoom();
  SortRoom(const SortRoom&) = delete;
  SortRoom& operator=(const SortRoom&) = delete;

  int write(std::span<const std::byte> bytes, std::uint64_t offset);

  std::size_t run_bytes;  // of one run
  std::string path;
  SpillFile file;
  std::uint64_t spilled = 0;   // bytes that are written, or about to be
  std::atomic<int> failed{0};  // error of the second thread's work
  Worker worker;               // the last member: ends before the others
};

// Bytes of a run, for tests that spill few entries; 0: chosen by the number of sorts.
extern std::size_t sort_run_bytes;

class EntryMerge;

class EntrySort {
 public:
  // `expected`: the greatest number of entries there will be, for the memory of the first run.
  EntrySort(SortRoom& room, std::size_t compared, std::uint64_t expected);
  ~EntrySort();
  EntrySort(const EntrySort&) = delete;
  EntrySort& operator=(const EntrySort&) = delete;

  [[nodiscard]] std::size_t entry_size() const { return compared_ + kNumberLength; }

  // Returns the memory for the bytes that the next entry is compared by, or null when a run could
  // not be written.
  std::byte* add(SlotNumber slot) {
    if (run_.size() >= full_ && !spill()) return nullptr;
    const std::size_t at = run_.size();
    run_.resize(at + entry_size());
    std::memcpy(run_.data() + at + compared_, &slot, sizeof slot);
    return run_.data() + at;
  }

  // Sorts the last run. No entry is added afterwards.
  int sort();

  // Gives all entries in order, from the first one on each time, in blocks: the body takes a span
  // of whole entries, and a result other than 0 ends the loop.
  template <typename Body>
  int each_block(Body body) {
    if (spilled_.empty()) return run_.empty() ? 0 : body(std::span<const std::byte>(run_));
    if (const int failed = start_merge()) return failed;
    for (;;) {
      const std::span<const std::byte> block = next_block();
      if (room_.failed != 0) return room_.failed;
      if (block.empty()) return 0;
      if (const int failed = body(block)) return failed;
    }
  }

 private:
  friend class EntryMerge;

  struct SpilledRun {
    std::uint64_t offset;
    std::uint64_t bytes;
  };

  bool spill();
  void reserve_run(std::uint64_t entries);
  int start_merge();
  std::span<const std::byte> next_block();
  void order_block();

  SortRoom& room_;
  std::size_t compared_;
  std::size_t full_;  // bytes of whole entries in a run
  EntryBytes run_;    // being filled; in the end the last run
  std::vector<SpilledRun> spilled_;
  std::unique_ptr<EntryMerge> merge_;
  EntryBytes block_;  // block that the caller reads
  EntryBytes ahead_;  // block that the second thread fills
};

}  // namespace marigold::inner::isam
