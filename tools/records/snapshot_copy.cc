// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/snapshot_copy.h"

#include <cerrno>
#include <chrono>

#include "runtime/core/new_files.h"
#include "runtime/data/access/backup_record.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/conversion/file_swap.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/stop_signals.h"
#include "tools/common/checksum.h"

namespace marigold::inner {
namespace {

constexpr int kAttempts = 5;

bool fail(std::string& problem, std::string reason) {
  problem = std::move(reason);
  return false;
}

}  // namespace

bool SnapshotFile::open_keyed(std::string& problem) {
  const FileDefinition& definition = *target_.definition;
  const bool data = file_exists((target_.base + ".dat").c_str());
  if (data != file_exists((target_.base + ".idx").c_str()))
    return fail(problem, half_pair_text(target_));
  if (keyed_.open(target_.base, kIsInputOutput | kIsManualLock) != 0)
    return fail(problem, data_error(target_.base, iserrno));
  IsamInfo info;
  if (keyed_.info(info) != 0) return fail(problem, data_error(target_.base, iserrno));
  std::string reason;
  return isam_fits(definition, info, reason) || fail(problem, target_.base + ": " + reason);
}

bool SnapshotFile::open(std::string& problem) {
  if (FileSwap::of(target_.base, target_.definition->type)->is_half_in_place())
    return fail(problem, target_.base + ": left by an interrupted conversion; run it again");
  if (is_keyed()) {
    if (!open_keyed(problem)) return false;
  } else if (const int failed = numbered_.open(target_, false)) {
    return fail(problem, data_error(target_.base, failed));
  }
  std::string reason;
  return check_version(target_, reason) || fail(problem, target_.base + ": " + reason);
}

bool SnapshotFile::read_bytes(const std::function<int(std::string_view)>& take, Progress& progress,
                              std::string& checksum, std::string& problem) {
  std::uint64_t size = 0;
  std::uint64_t done = 0;
  int not_taken = 0;
  Checksum sum;
  int failed = numbered_.bytes().size(size);
  if (failed == 0) {
    failed = read_in_pieces(numbered_.bytes(), [&](std::string_view bytes) {
      sum.add(bytes);
      done += bytes.size();
      progress.at(done, size);
      not_taken = stop_signals_pending() ? EINTR : take(bytes);
      return not_taken == 0;
    });
  }
  checksum = sum.take();
  records_ = static_cast<std::int64_t>(done) / target_.definition->record_length;
  if (failed == ECANCELED) failed = not_taken;
  return failed == 0 || fail(problem, file_error(target_.base, failed));
}

bool SnapshotFile::copy_numbered(const std::string& copy, Progress& progress,
                                 std::string& problem) {
  FileWriter file;
  int failed = file_remove(copy.c_str());
  if (failed == 0) failed = file.make(copy.c_str(), NewFileAccess::kOwnerOnly);
  if (failed != 0) return fail(problem, file_error(copy, failed));
  const auto write = [&file](std::string_view bytes) { return file.write(bytes); };
  if (!read_bytes(write, progress, checksum_, problem)) return false;
  failed = file.take_access(target_.base.c_str());
  if (failed == 0) failed = file.sync();
  if (failed == 0) failed = file.close();
  return failed == 0 || fail(problem, file_error(copy, failed));
}

bool SnapshotFile::read_again(Progress& progress, bool& same, std::string& problem) {
  std::string checksum;
  if (!read_bytes([](std::string_view) { return 0; }, progress, checksum, problem)) return false;
  same = checksum == checksum_;
  return true;
}

bool SnapshotFile::write_keyed(const std::string& copy, const IsWatch& watch,
                               std::string& problem) {
  records_ = issnapshot_count(number());
  if (issnapshot_write(number(), copy.c_str(), target_.base.c_str(), watch) != 0)
    return fail(problem, data_error(target_.base, iserrno));
  return issnapshot_end(number()) == 0 || fail(problem, data_error(target_.base, iserrno));
}

namespace {

class Moment {
 public:
  Moment(std::vector<std::unique_ptr<SnapshotFile>>& files,
         const std::function<std::string(const DataTarget&)>& copy, Progress& progress)
      : copy_(copy), progress_(progress) {
    for (const auto& file : files) {
      if (file->is_keyed()) {
        numbers_.push_back(file->number());
        targets_.push_back(&file->target());
      } else {
        numbered_.push_back(file.get());
      }
    }
  }

  MomentOutcome attempt(std::string& moment, std::string& problem) {
    for (SnapshotFile* file : numbered_) {
      if (!file->copy_numbered(copy_(file->target()), progress_, problem))
        return MomentOutcome::kFailed;
    }
    MomentOutcome outcome = begin_snapshots(problem);
    if (outcome != MomentOutcome::kTaken) return outcome;
    moment =
        backup_time(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
    outcome = look_again(problem);
    if (outcome != MomentOutcome::kTaken) end_snapshots();
    return outcome;
  }

 private:
  // The moment lies between two sets of changes.
  MomentOutcome begin_snapshots(std::string& problem) {
    if (numbers_.empty()) return MomentOutcome::kTaken;
    ChangeTurns turns;
    if (!take_change_turns(targets_, turns, problem)) return MomentOutcome::kFailed;
    if (issnapshot(numbers_) != 0) {
      problem = data_error("marigold: no snapshot", iserrno);
      return MomentOutcome::kFailed;
    }
    if (turns.kept_all_away()) return MomentOutcome::kTaken;
    problem = targets_.front()->base + kChangesBegan;
    end_snapshots();
    return MomentOutcome::kNotQuiet;
  }
  void end_snapshots() {
    for (const int number : numbers_)
      issnapshot_end(number);
  }

  MomentOutcome look_again(std::string& problem) {
    for (SnapshotFile* file : numbered_) {
      bool same = false;
      if (!file->read_again(progress_, same, problem)) return MomentOutcome::kFailed;
      if (same) continue;
      problem = file->target().base +
                ": programs keep changing it, and a random file can be copied only "
                "while it does not change";
      return MomentOutcome::kNotQuiet;
    }
    return MomentOutcome::kTaken;
  }

  const std::function<std::string(const DataTarget&)>& copy_;
  Progress& progress_;
  std::vector<int> numbers_;
  std::vector<const DataTarget*> targets_;  // of the keyed files
  std::vector<SnapshotFile*> numbered_;
};

}  // namespace

MomentOutcome take_moment(std::vector<std::unique_ptr<SnapshotFile>>& files,
                          const std::function<std::string(const DataTarget&)>& copy,
                          Progress& progress, std::string& moment, std::string& problem) {
  Moment attempts(files, copy, progress);
  MomentOutcome outcome = MomentOutcome::kNotQuiet;
  for (int attempt = 0; outcome == MomentOutcome::kNotQuiet && attempt < kAttempts; ++attempt)
    outcome = attempts.attempt(moment, problem);
  if (outcome == MomentOutcome::kTaken) problem.clear();
  return outcome;
}

}  // namespace marigold::inner
