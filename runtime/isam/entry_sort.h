// Sorting the entries of a tree in bounded memory: runs of them are sorted, and written to a file
// without a name when they are full; then all runs are merged. A file of few records has one run,
// which stays in memory.
//
// An entry is `compared` bytes, which order as a string, and the number of a slot. Those that are
// equal in all of it come in any order.
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

#include "runtime/isam/layout.h"
#include "runtime/platform/spill_file.h"
#include "runtime/platform/worker.h"

namespace marigold::isam {

using EntryBytes = std::vector<std::byte>;

// What several sorts share: the memory, the file and a second thread, both of which are made when
// they are needed. Outlives them.
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
  std::atomic<int> failed{0};  // of what the second thread has done
  Worker worker;               // the last member: it ends before the others do
};

// The bytes of a run, for tests that spill few entries; 0: what suits.
extern std::size_t sort_run_bytes;

class EntryMerge;

class EntrySort {
 public:
  // `expected`: the number of entries there will be at most, for the memory of the first run.
  EntrySort(SortRoom& room, std::size_t compared, std::uint64_t expected);
  ~EntrySort();
  EntrySort(const EntrySort&) = delete;
  EntrySort& operator=(const EntrySort&) = delete;

  [[nodiscard]] std::size_t entry_size() const { return compared_ + kNumberLength; }

  // Where the caller writes what the next entry is compared by; null when a run could not be
  // written.
  std::byte* add(SlotNumber slot) {
    if (run_.size() >= full_ && !spill()) return nullptr;
    const std::size_t at = run_.size();
    run_.resize(at + entry_size());
    std::memcpy(run_.data() + at + compared_, &slot, sizeof slot);
    return run_.data() + at;
  }

  // Everything is added.
  int sort();

  // All entries in order, from the first one on each time, in blocks of many: the body takes a span
  // of whole entries, and what it returns but 0 ends it.
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
  EntryBytes run_;    // the one that is being filled; in the end the last one
  std::vector<SpilledRun> spilled_;
  std::unique_ptr<EntryMerge> merge_;
  EntryBytes block_;  // the caller's
  EntryBytes ahead_;  // being filled by the second thread
};

}  // namespace marigold::isam
