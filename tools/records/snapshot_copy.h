// SPDX-License-Identifier: GPL-3.0-or-later
// Copies data files as they are at one moment, while programs change them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/progress.h"
#include "tools/records/data_target.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {

// A data file to copy. A keyed file is copied from a snapshot of the engine. A random file has no
// snapshot: it is copied before the moment and read again after it. If both readings agree in every
// byte, the copy is the file of that moment.
class SnapshotFile {
 public:
  explicit SnapshotFile(DataTarget& target) : target_(target) {}

  // Opens the file; from then on no conversion can begin. Returns false and the problem, also for a
  // file that differs from its definition or has records of another version.
  bool open(std::string& problem);

  [[nodiscard]] bool is_keyed() const { return target_.definition->type == FileType::kIsam; }
  [[nodiscard]] int number() const { return keyed_.number(); }
  [[nodiscard]] const DataTarget& target() const { return target_; }

  // For a random file: call copy_numbered before the moment and read_again after it. `copy` is the
  // base of the copy.
  bool copy_numbered(const std::string& copy, Progress& progress, std::string& problem);
  bool read_again(Progress& progress, bool& same, std::string& problem);

  // For a keyed file: call it after the moment.
  bool write_keyed(const std::string& copy, const IsWatch& watch, std::string& problem);

  // Records in the copy; for a random file, its places.
  [[nodiscard]] std::int64_t records() const { return records_; }

 private:
  bool open_keyed(std::string& problem);
  bool read_bytes(const std::function<int(std::string_view)>& take, Progress& progress,
                  std::string& checksum, std::string& problem);

  DataTarget& target_;
  OpenKeyedFile keyed_;
  OpenNumberedFile numbered_;
  std::string checksum_;
  std::int64_t records_ = 0;
};

enum class MomentOutcome { kTaken, kNotQuiet, kFailed };

// Copies the random files and begins the snapshots of the keyed ones, all of one moment. `copy`
// returns the base of a file's copy, `moment` is that moment in the form of backup_time. kNotQuiet:
// random files were changed during each of several attempts; the problem names the first of them.
MomentOutcome take_moment(std::vector<std::unique_ptr<SnapshotFile>>& files,
                          const std::function<std::string(const DataTarget&)>& copy,
                          Progress& progress, std::string& moment, std::string& problem);

}  // namespace marigold::inner
