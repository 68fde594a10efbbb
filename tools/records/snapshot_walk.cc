// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/snapshot_walk.h"

#include <utility>

#include "runtime/core/new_files.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/stop_signals.h"
#include "tools/records/scratch_directory.h"
#include "tools/records/snapshot_copy.h"

namespace marigold::inner {
namespace {

// Some systems keep a directory in which a file is open, so it goes after the walk.
class SnapshotWalk : public RecordWalk {
 public:
  SnapshotWalk(std::string directory, std::unique_ptr<RecordWalk> walk)
      : directory_(std::move(directory)), walk_(std::move(walk)) {}
  SnapshotWalk(const SnapshotWalk&) = delete;
  SnapshotWalk& operator=(const SnapshotWalk&) = delete;
  ~SnapshotWalk() override {
    walk_.reset();
    static_cast<void>(file_remove_tree(directory_.c_str()));  // mostly gone already
  }
  Outcome next(char* record, std::string& reason) override { return walk_->next(record, reason); }

 private:
  std::string directory_;
  std::unique_ptr<RecordWalk> walk_;
};

bool make_copy(DataTarget& target, ScratchDirectory& scratch, std::string& problem) {
  Progress progress(target.base);
  std::vector<std::unique_ptr<SnapshotFile>> files;
  files.push_back(std::make_unique<SnapshotFile>(target));
  SnapshotFile& file = *files.front();
  std::string moment;
  const auto copy = [&scratch](const DataTarget&) { return scratch.path_of("copy"); };
  if (!file.open(problem) ||
      take_moment(files, copy, progress, moment, problem) != MomentOutcome::kTaken)
    return false;
  const auto watch = [&](std::uint64_t done, std::uint64_t all) {
    progress.at(done, all);
    scratch.end_if_stopped();
  };
  return !file.is_keyed() || file.write_keyed(scratch.path_of("copy"), watch, problem);
}

}  // namespace

std::unique_ptr<RecordWalk> walk_snapshot(DataTarget& target, RecordText& text,
                                          const WalkRange& range, std::string& problem) {
  ScratchDirectory scratch;
  if (!scratch.make(problem) || !make_copy(target, scratch, problem)) return nullptr;
  const std::string base = std::exchange(target.base, scratch.path_of("copy"));
  auto walk = walk_records(target, text, range, problem);
  target.base = base;
  if (!walk) return nullptr;
  return std::make_unique<SnapshotWalk>(scratch.path(), std::move(walk));
}

}  // namespace marigold::inner
