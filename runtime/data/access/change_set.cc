// SPDX-License-Identifier: GPL-3.0-or-later
// The set of changes of this process, and its commit. change_turns.h describes how a set stays
// whole in directories.

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "runtime/core/current_operation.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/change_set.h"
#include "runtime/data/access/change_turns.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_decision.h"
#include "runtime/data/access/record_change.h"
#include "runtime/isam/common/change_step.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"

namespace marigold {

using namespace inner;

namespace {

struct State {
  bool begun = false;
  std::vector<RecordChange> changes;
};

State state;

int number_of(const DataFile& file) {
  return file.engine.descriptor;
}

void require_keyed(const DataFile& file) {
  if (file.definition.type == FileType::kIsam) return;
  user_interface().warning((std::string(file.definition.name.view()) +
                            ": only keyed files can be part of a set of changes")
                               .c_str());
  raise_fatal(kErrorFileType);
}

void add(DataFile& file, const char* operation, bool deletes) {
  set_current_operation(operation);
  require_keyed(file);
  if (!state.begun || !file.open || file.read_only) data_fatal("", kIsNotOpen);
  RecordChange change{.file = &file, .deletes = deletes, .record = {}};
  change.record.assign(file.record.begin(), file.record.end());
  change.record.back() = '\0';  // a live record
  state.changes.push_back(std::move(change));
}

// ---- The commit

// Carries out the set, up to the point where all is done, or undone; the destructor gives back what
// this object has taken.
class Commit {
 public:
  explicit Commit(const std::vector<RecordChange>& changes) : changes_(changes) {}
  Commit(const Commit&) = delete;
  Commit& operator=(const Commit&) = delete;
  ~Commit() { release(); }

  // 0, kIsLocked, or another number with its reason. Nothing is changed after a failure.
  int run();
  [[nodiscard]] const std::string& reason() const { return reason_; }
  // File of the locked record after kIsLocked.
  [[nodiscard]] const DataFile& locked_file() const { return *locked_file_; }

 private:
  struct Part {
    ChangeJournal* journal;
    JournalPart contents;
  };

  void find_files();
  int take_turns();
  int lock_records();
  int reserve();
  int announce();
  int fill_parts();
  int record();
  int abandon(int failed);
  int change_files();
  int end();
  void release();

  int fail(const std::string& about, int number) {
    reason_ = about + ": " + change_error_text(number);
    return number;
  }

  const std::vector<RecordChange>& changes_;
  std::vector<const DataFile*> files_;  // each once
  ChangeTurns turns_;
  std::vector<Part> parts_;                 // in the order of their directories
  std::vector<const RecordChange*> taken_;  // whose records this object has locked
  std::vector<const DataFile*> marked_;
  const DataFile* locked_file_ = nullptr;
  std::string reason_;
};

void Commit::find_files() {
  for (const RecordChange& change : changes_) {
    if (std::ranges::find(files_, change.file) == files_.end()) files_.push_back(change.file);
  }
  locked_file_ = files_.front();
}

int Commit::take_turns() {
  std::vector<std::string> directories;
  for (const DataFile* file : files_)
    directories.emplace_back(path_directory(data_path(*file)));
  return turns_.take(std::move(directories), ChangeTurns::Missing::kMake,
                     data_path(*files_.front()) + ".dat", reason_);
}

// Needs no order: only the holder of the turns takes several locks, and none of them waits.
int Commit::lock_records() {
  for (const RecordChange& change : changes_) {
    bool taken = false;
    if (islock(number_of(*change.file), change.record.data(), taken) != 0) {
      locked_file_ = change.file;
      return fail(data_path(*change.file), iserrno);
    }
    if (taken) taken_.push_back(&change);
    isam::change_step();
  }
  return 0;
}

int Commit::reserve() {
  for (const DataFile* file : files_) {
    const auto records = std::ranges::count_if(changes_, [&](const RecordChange& change) {
      return change.file == file && !change.deletes;
    });
    if (isreserve(number_of(*file), static_cast<std::uint64_t>(records)) != 0)
      return fail(data_path(*file), iserrno);
  }
  return 0;
}

// From here on other processes find the marks, and the death of this process.
int Commit::announce() {
  for (const auto& journal : turns_.journals()) {
    if (const int failed = journal->become_writer()) return fail(journal->path(), failed);
  }
  for (const DataFile* file : files_) {
    marked_.push_back(file);
    if (ismark(number_of(*file), true) != 0) return fail(data_path(*file), iserrno);
  }
  return 0;
}

int Commit::fill_parts() {
  const std::string word = new_file_name("");
  JournalPart part;
  part.set = word.substr(word.size() - 16);
  part.changes_of_set = static_cast<std::uint32_t>(changes_.size());
  for (const auto& journal : turns_.journals())
    part.directories.push_back(journal->directory());
  if (part.directories.size() == 1) part.directories.clear();
  for (const auto& journal : turns_.journals())
    parts_.push_back({.journal = journal.get(), .contents = part});
  for (std::uint32_t i = 0; i < changes_.size(); ++i) {
    const RecordChange& change = changes_[i];
    const std::string path = change_base(*change.file);
    const auto own = std::ranges::find_if(
        parts_, [&](const Part& one) { return one.journal->directory() == path_directory(path); });
    if (own == parts_.end()) return fail(path, ENOENT);  // the directory has been renamed
    own->contents.changes.push_back({.position = i,
                                     .deletes = change.deletes,
                                     .version = change.file->definition.version,
                                     .name = std::string(path_name(path)),
                                     .record = change.record});
  }
  return 0;
}

// Writes the first journal last: it decides.
int Commit::record() {
  for (auto part = parts_.rbegin(); part != parts_.rend(); ++part) {
    if (const int failed = part->journal->write(part->contents))
      return fail(part->journal->path(), failed);
  }
  return 0;
}

// Empties the first journal first. Without that the set might be found whole after a power loss.
int Commit::abandon(int failed) {
  for (const Part& part : parts_) {
    if (const int not_cleared = part.journal->clear())
      data_fatal(part.journal->path().c_str(), not_cleared);
  }
  return failed;
}

int Commit::change_files() {
  for (const RecordChange& change : changes_) {
    const int failed = record_change(number_of(*change.file), change.deletes, change.record.data());
    if (failed != 0) return fail(data_path(*change.file), failed);
  }
  for (const DataFile* file : files_) {
    if (ISFLUSH(number_of(*file)) != 0) return fail(data_path(*file), iserrno);
  }
  return 0;
}

int Commit::end() {
  for (const Part& part : parts_) {
    if (const int failed = part.journal->clear()) return fail(part.journal->path(), failed);
  }
  return 0;
}

// A mark or lock that cannot be removed here goes with the next process that meets the mark, or with
// this one.
void Commit::release() {
  for (const DataFile* file : std::exchange(marked_, {}))
    ismark(number_of(*file), false);
  for (const RecordChange* change : std::exchange(taken_, {}))
    isunlock(number_of(*change->file), change->record.data());
}

int Commit::run() {
  find_files();
  if (const int failed = take_turns()) return failed;
  const ChangesAtWork work;
  if (const int failed = lock_records()) return failed;
  if (const int failed = reserve()) return failed;
  if (const int failed = announce()) return failed;
  if (const int failed = fill_parts()) return failed;
  if (const int failed = record()) return abandon(failed);
  int failed = change_files();
  if (failed == 0) failed = end();
  if (failed == 0) {
    release();  // while this process counts as the writer
    return 0;
  }
  user_interface().warning(
      ("a set of changes is recorded and will be finished by the next program: " + reason_)
          .c_str());
  data_fatal("", failed);
}

int commit_in_directories(const DataFile*& locked_file, std::string& reason) {
  Commit commit(state.changes);
  const int failed = commit.run();
  locked_file = &commit.locked_file();
  reason = commit.reason();
  return failed;
}

// Neither a journal nor a transaction could hold a set of both kinds.
int commit_where_they_lie(const DataFile*& locked_file, std::string& reason) {
  const auto of_cluster = [](const RecordChange& change) {
    return iscluster(number_of(*change.file));
  };
  if (std::ranges::none_of(state.changes, of_cluster))
    return commit_in_directories(locked_file, reason);
  if (std::ranges::all_of(state.changes, of_cluster))
    return commit_in_cluster(state.changes, locked_file, reason);
  reason = "some files of the set lie in a directory and some in a database";
  return kIsBadArgument;
}

// Returns a result of the interface.
int try_commit(const DataFile*& locked_file) {
  std::string reason;
  locked_file = state.changes.front().file;
  const int failed = commit_where_they_lie(locked_file, reason);
  if (failed == 0) return kDataDone;
  if (failed == kIsLocked) return kDataLocked;
  user_interface().warning(("nothing is changed: " + reason).c_str());
  return failed < kFirstBeyondSystem ? kSystemErrorOffset + failed : failed;
}

void release_all() {
  for (DataFile* file : data_files()) {
    if (file->open) data_release(*file);
  }
}

}  // namespace

void changes_begin() {
  state = State{};
  state.begun = true;
}

void changes_write(DataFile& file) {
  add(file, "changes_write", false);
}

void changes_delete(DataFile& file) {
  add(file, "changes_delete", true);
}

int changes_commit(LockWait wait) {
  set_current_operation("changes_commit");
  const bool all_open = std::ranges::all_of(
      state.changes, [](const RecordChange& change) { return change.file->open; });
  if (!state.begun || !all_open) data_fatal("", kIsNotOpen);
  int result = kDataDone;
  if (!state.changes.empty()) {
    const DataFile* locked_file = nullptr;
    do {
      result = try_commit(locked_file);
    } while (lock_try_again(*locked_file, result, wait, LockPhase::kReading));
  }
  if (result == kDataDone) changes_drop();
  return result;
}

void changes_drop() {
  state = State{};
}

int changes_run(const std::function<int()>& prepare) {
  PostponedQuestion question;
  for (;;) {
    changes_begin();
    int result = prepare();
    if (question.came_up()) result = kDataLocked;
    if (result == kDataDone) result = changes_commit(LockWait::kAsk);
    changes_drop();
    release_all();
    if (!question.came_up() || !question.ask()) return result;
  }
}

}  // namespace marigold
