// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/backup/restore_swap.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "runtime/core/new_files.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/process.h"
#include "runtime/platform/record_file.h"

namespace marigold::inner {

int (*restore_step_hook)(const char* step) = nullptr;

namespace {

int step(const char* name) {
  return restore_step_hook == nullptr ? 0 : restore_step_hook(name);
}

std::string kept(const std::string& path) {
  return path + ".unrestored";
}

// A rename between two names of one file does nothing, so the second name is removed afterwards.
// Returns 0, or the first error.
int put_back(const RestoreJournal& journal) {
  int first = 0;
  for (const std::string& path : journal.old_files) {
    const std::string second = kept(path);
    if (!file_exists(second.c_str())) continue;  // its place is unchanged
    int failed = step("put back");
    if (failed == 0) failed = file_replace(second.c_str(), path.c_str());
    if (failed == 0) failed = file_remove(second.c_str());
    if (first == 0) first = failed;
  }
  for (const std::string& path : journal.new_files) {
    const int failed = file_remove(path.c_str());
    if (first == 0) first = failed;
  }
  return first;
}

// Returns 0, or the first error.
int forget(const RestoreJournal& journal) {
  int first = 0;
  for (const std::string& path : journal.old_files) {
    const int failed = file_remove(kept(path).c_str());
    if (first == 0) first = failed;
  }
  return first;
}

int remove_journals(const std::vector<std::string>& journals) {
  for (const std::string& path : journals) {
    int failed = file_remove(path.c_str());
    if (failed == 0) failed = file_sync_directory(path.c_str());
    if (failed != 0) return failed;
  }
  return 0;
}

}  // namespace

RestoreSwap::~RestoreSwap() {
  for (const Replacement& one : replacements_) {
    if (!one.staged.empty()) file_remove(one.staged.c_str());
  }
}

// Takes absolute paths for the journal, since another run may have another current directory.
void RestoreSwap::add(const std::string& path, const std::string& staged) {
  replacements_.push_back({path_of_library(std::filesystem::absolute(library_path(path))), staged,
                           file_exists(path.c_str())});
}

// Refuses a second name that another program has made: it is not that of an old file.
int RestoreSwap::check_names() {
  for (const Replacement& one : replacements_) {
    failed_path_ = kept(one.path);
    if (file_exists(failed_path_.c_str())) return EEXIST;
  }
  return 0;
}

int RestoreSwap::write_journals() {
  RestoreJournal journal;
  journal.run = new_file_name("");
  journal.counting = path_beside(replacements_.front().path, kRestoreJournal);
  for (const Replacement& one : replacements_)
    (one.had_old ? journal.old_files : journal.new_files).push_back(one.path);
  for (const Replacement& one : replacements_) {
    const std::string directory(path_directory(one.path));
    if (std::ranges::find(journal.directories, directory) == journal.directories.end())
      journal.directories.push_back(directory);
  }
  for (const std::string& directory : journal.directories) {
    const std::string path = path_join(directory, kRestoreJournal);
    failed_path_ = path;
    FileWriter other;
    FileWriter& file = journals_.empty() ? counting_ : other;
    int failed = step("journal");
    if (failed == 0) failed = file.make(path.c_str());
    if (failed != 0) return failed;
    journals_.push_back(path);
    failed = file.write(restore_journal_text(journal, directory));
    if (failed == 0) failed = file.sync();
    if (failed == 0) failed = file_sync_directory(path.c_str());
    if (failed != 0) return failed;
  }
  return 0;
}

int RestoreSwap::link_old() {
  for (Replacement& one : replacements_) {
    if (!one.had_old) continue;
    failed_path_ = kept(one.path);
    int failed = step("link");
    if (failed == 0) failed = file_link(one.path.c_str(), failed_path_.c_str());
    if (failed != 0) return failed;
    one.linked = true;
  }
  return 0;
}

int RestoreSwap::bring_in() {
  for (Replacement& one : replacements_) {
    failed_path_ = one.path;
    int failed = step("bring in");
    if (failed != 0) return failed;
    if (one.staged.empty()) {
      failed = file_remove(one.path.c_str());
      if (failed == 0) failed = file_sync_directory(one.path.c_str());
    } else if (one.had_old) {
      failed = file_replace(one.staged.c_str(), one.path.c_str());
    } else {
      // A missing file cannot be held, so a file that a program has made meanwhile stays.
      failed = file_link(one.staged.c_str(), one.path.c_str());
      if (failed == 0) static_cast<void>(file_remove(one.staged.c_str()));
    }
    if (failed != 0) return failed;
    one.staged.clear();
  }
  return 0;
}

// The journal's word for "done" decides, durable or not: without it the next run puts the old files
// back, and these keep their second names until the word is durable.
int RestoreSwap::commit() {
  failed_path_ = journals_.front();
  int failed = step("commit");
  if (failed == 0) failed = counting_.write(kRestoreDone);
  done_ = failed == 0;
  return failed == 0 ? counting_.sync() : failed;
}

// Removes the decisive journal last, so that a run that finds it can remove the remaining second
// names.
int RestoreSwap::forget_old() {
  for (const Replacement& one : replacements_) {
    if (!one.linked) continue;
    failed_path_ = kept(one.path);
    int failed = step("forget");
    if (failed == 0) failed = file_remove(failed_path_.c_str());
    if (failed != 0) return failed;
  }
  std::ranges::reverse(journals_);
  return remove_journals(journals_);
}

int RestoreSwap::undo() {
  RestoreJournal done;
  for (const Replacement& one : replacements_) {
    if (one.linked) done.old_files.push_back(one.path);
    if (!one.had_old && one.staged.empty()) done.new_files.push_back(one.path);
  }
  const int failed = put_back(done);
  return failed == 0 ? remove_journals(journals_) : failed;
}

bool RestoreSwap::run(Problems& problems) {
  if (replacements_.empty()) return true;
  // Indexes last: until the index is replaced, its pair does not match, and no program can change
  // files that may have to be put back.
  std::stable_partition(replacements_.begin(), replacements_.end(),
                        [](const Replacement& one) { return !one.path.ends_with(".idx"); });
  int failed = check_names();
  if (failed == 0) failed = write_journals();
  if (failed == 0) failed = link_old();
  if (failed == 0) failed = bring_in();
  if (failed == 0) failed = commit();
  if (failed != 0 && !done_) {
    problems.push_back(file_error(failed_path_, failed));
    if (const int not_undone = undo())
      problems.push_back(file_error(failed_path_, not_undone) +
                         ": not all old files could be put back; run the " + work_ + " again");
    return false;
  }
  if (failed == 0) failed = forget_old();
  if (failed == 0) return true;
  problems.push_back(file_error(failed_path_, failed) +
                     ": the new files are in place, but old ones are left beside them; the next " +
                     work_ + " removes them");
  return false;
}

// ---- After a killed run

namespace {

constexpr const char* kAnotherRuns = ": another restore or copy is running";

bool is_alive(const std::string& journal) {
  RecordFile file;
  bool locked = false;
  return file.open(journal.c_str(), false) == 0 &&
         file.locked_exclusively_by_other(kFileAliveLock, locked) == 0 && locked;
}

bool fail(Problems& problems, const std::string& problem) {
  problems.push_back(problem);
  return false;
}

// Returns all files of the run in all its directories, and its journals, the decisive one first.
RestoreJournal all_of(const RestoreJournal& counting, std::vector<std::string>& journals) {
  RestoreJournal whole;
  journals.push_back(counting.counting);
  for (const std::string& directory : counting.directories) {
    const std::string path = path_join(directory, kRestoreJournal);
    RestoreJournal one;
    if (!read_restore_journal(path, one) || one.run != counting.run) continue;
    whole.old_files.insert(whole.old_files.end(), one.old_files.begin(), one.old_files.end());
    whole.new_files.insert(whole.new_files.end(), one.new_files.begin(), one.new_files.end());
    if (path != counting.counting) journals.push_back(path);
  }
  return whole;
}

bool is_free(const RestoreJournal& journal, Problems& problems) {
  for (const auto* files : {&journal.old_files, &journal.new_files}) {
    for (const std::string& path : *files) {
      if (is_file_in_use(path.c_str()))
        return fail(problems, path +
                                  ": was half restored by a run that was killed, and another "
                                  "process is using it");
    }
  }
  return true;
}

}  // namespace

bool recover_restore(const std::string& directory, Problems& problems) {
  const std::string found = path_join(directory, kRestoreJournal);
  if (!file_exists(found.c_str())) return true;
  RestoreJournal journal;
  if (!read_restore_journal(found, journal)) {
    if (is_alive(found)) return fail(problems, found + kAnotherRuns);
    const int failed = remove_journals({found});
    return failed == 0 || fail(problems, file_error(found, failed));
  }
  if (is_alive(journal.counting)) return fail(problems, journal.counting + kAnotherRuns);
  RestoreJournal counting;
  std::vector<std::string> journals;
  int failed = 0;
  if (read_restore_journal(journal.counting, counting) && counting.run == journal.run) {
    const RestoreJournal whole = all_of(counting, journals);
    if (counting.done) {
      failed = forget(whole);
      std::ranges::reverse(journals);
    } else {
      if (!is_free(whole, problems)) return false;
      failed = put_back(whole);
    }
  } else {
    failed = forget(journal);
    journals.push_back(found);
  }
  if (failed == 0) failed = remove_journals(journals);
  return failed == 0 || fail(problems, file_error(found, failed));
}

}  // namespace marigold::inner
