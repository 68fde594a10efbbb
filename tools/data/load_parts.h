// SPDX-License-Identifier: GPL-3.0-or-later
// What the destinations of loaded records have in common.
#pragma once

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "runtime/platform/stop_signals.h"
#include "tools/data/load_sink.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {

// Gives the problem of a file, and returns false.
bool fail_load(std::string& problem, const std::string& path, int number);

// Whether a signal has asked the process to stop. The load checks once in 256 records.
bool asked_to_stop(std::int64_t records);

// Makes a missing data directory, as programs do; the directory of an explicit path is its owner's
// task.
bool make_data_directory(const DataTarget& target, std::string& problem);

// Returns the bytes of a key in a record.
std::string key_bytes(const KeyDescription& key, const char* record);

// A file that the engine holds from the first line to the last. Makes an empty one if it is missing,
// so that no other process makes or fills it meanwhile; a file that was made is removed again unless
// it is filled or replaced.
class HeldFile {
 public:
  HeldFile(const DataTarget& target, OpenKeyedFile file)
      : target_(target), file_(std::move(file)) {}
  ~HeldFile();
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  bool make_if_missing(std::string& problem);
  // Comes before a new file takes the names, and keeps the locks.
  void retire() { file_.retire(); }
  void keep() { made_ = false; }
  [[nodiscard]] OpenKeyedFile& file() { return file_; }

 private:
  const DataTarget& target_;
  OpenKeyedFile file_;
  bool made_ = false;
};

// A file with records: the new ones stay in memory until all are known to be good. If a write fails,
// those before it are taken back. Records that are all new go into a cluster in one transaction.
class GrownFile : public LoadSink {
 public:
  GrownFile(const DataTarget& target, OpenKeyedFile file, bool replace);

  bool make_if_missing(std::string& problem) { return held_.make_if_missing(problem); }
  Added add(char* record, std::string& problem) override;
  bool commit(std::string& problem) override;

 protected:
  [[nodiscard]] int descriptor() { return held_.file().number(); }
  [[nodiscard]] const DataTarget& target() const { return target_; }

 private:
  // Returns 0, and whether the file has a record with this primary key, which goes into the scratch
  // record.
  int look(const char* record, bool& exists);
  int write(std::size_t number);
  int take_back(std::size_t number);
  bool take_all_back(std::size_t written, std::string& problem);
  void give_back_space();
  int load_all();
  bool commit_one_by_one(std::string& problem);
  [[nodiscard]] const char* record_at(std::size_t number) const {
    return records_.data() + number * length_;
  }

  StopSignalsHold hold_;
  const DataTarget& target_;
  bool replace_;
  std::size_t length_;
  KeyDescription key_;
  HeldFile held_;
  std::vector<char> scratch_;
  std::vector<char> records_;
  std::vector<bool> replaces_;            // by number of the new record
  std::unordered_set<std::string> keys_;  // primary keys of all new records
  std::vector<char> old_records_;         // replaced ones, in their order
};

// Greatest gap of numbers that a load may leave after the end of a random file.
inline constexpr std::int64_t kFarBeyond = 1'000'000;

// Open a file of a cluster; see open_load_sink. `file` is open, or closed for a missing one.
std::unique_ptr<LoadSink> open_new_table(const DataTarget& target, OpenKeyedFile file,
                                         std::string& problem);
std::unique_ptr<LoadSink> open_numbered_table(const DataTarget& target, const LoadRules& rules,
                                              std::string& problem);

}  // namespace marigold::inner
