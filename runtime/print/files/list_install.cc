// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/list_install.h"

#include <cerrno>
#include <utility>

#include "runtime/data/access/version.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/stop_signals.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

int (*list_install_step_hook)(const char* step) = nullptr;

namespace {

constexpr const char* kNew = ".new";
constexpr int kSecondsToWait = 5;

int step(const char* name) {
  return list_install_step_hook == nullptr ? 0 : list_install_step_hook(name);
}

bool fail(std::string& problem, const std::string& path, int number) {
  problem = path + ": " + system_error_text(number);
  return false;
}

std::string beside_lists(const std::string& directory, const ListFiles& files, const char* suffix) {
  return list_file_path(directory, files.lists) + suffix;
}

std::string commit_path(const std::string& directory, const ListFiles& files) {
  return beside_lists(directory, files, ".commit");
}

struct Replacement {
  std::string fresh;
  std::string final;
};

std::vector<Replacement> replacements(const std::string& directory, const ListFiles& files) {
  std::vector<Replacement> result;
  for (const std::string_view name : {files.lists, files.blocks}) {
    const std::string base = list_file_path(directory, name);
    for (const char* suffix : {".ver", ".dat", ".idx"})
      result.push_back({base + kNew + suffix, base + suffix});
  }
  const std::string store = list_file_path(directory, files.store);
  result.push_back({store + kNew, store});
  return result;
}

// ---- The steps

// Waits a few seconds for processes with a lock that excludes this one.
bool lock_opened(const std::string& path, RecordFile& file, bool exclusive, std::string& problem) {
  int failed = file.lock(kFirstLock, 1, exclusive);
  for (int second = 0; failed == EAGAIN && second < kSecondsToWait; ++second) {
    clock_sleep(1);
    failed = file.lock(kFirstLock, 1, exclusive);
  }
  if (failed == EAGAIN) problem = path + ": another process is installing lists";
  return failed == 0 || (failed != EAGAIN && fail(problem, path, failed));
}

bool lock(const std::string& directory, const ListFiles& files, RecordFile& file,
          std::string& problem) {
  const std::string path = beside_lists(directory, files, ".lock");
  int failed = file.open_own(path.c_str(), true);
  if (failed == ENOENT) failed = file.create(path.c_str());
  if (failed == EEXIST) failed = file.open_own(path.c_str(), true);  // made by another process
  if (failed != 0) return fail(problem, path, failed);
  return lock_opened(path, file, true, problem);
}

// A directory without an installation has no lock file to hold.
bool lock_shared(const std::string& directory, const ListFiles& files, RecordFile& file,
                 std::string& problem) {
  const std::string path = beside_lists(directory, files, ".lock");
  const int failed = file.open(path.c_str(), false);
  if (failed == ENOENT) return true;
  return failed == 0 ? lock_opened(path, file, false, problem) : fail(problem, path, failed);
}

bool remove(const std::string& path, std::string& problem) {
  if (!file_exists(path.c_str())) return true;
  int failed = step("remove");
  if (failed == 0) failed = file_remove(path.c_str());
  return failed == 0 || fail(problem, path, failed);
}

bool remove_new_files(const std::string& directory, const ListFiles& files, std::string& problem) {
  bool removed = true;
  for (const Replacement& file : replacements(directory, files))
    removed = remove(file.fresh, problem) && removed;
  return removed;
}

// Installs committed files. A file that an earlier attempt has installed has its ".new" name no
// more.
bool roll_forward(const std::string& directory, const ListFiles& files, std::string& problem) {
  for (const Replacement& file : replacements(directory, files)) {
    if (!file_exists(file.fresh.c_str())) continue;
    int failed = step("replace");
    if (failed == 0) failed = file_replace(file.fresh.c_str(), file.final.c_str());
    if (failed != 0) return fail(problem, file.final, failed);
  }
  const std::string commit = commit_path(directory, files);
  if (!remove(commit, problem)) return false;
  const int failed = file_sync_directory(commit.c_str());
  return failed == 0 || fail(problem, commit, failed);
}

bool is_committed(const std::string& directory, const ListFiles& files) {
  return file_exists(commit_path(directory, files).c_str());
}

bool write_version(const std::string& directory, std::string_view name, std::string& problem) {
  const std::string final = list_file_path(directory, name) + ".ver";
  const std::string path = list_file_path(directory, name) + kNew + ".ver";
  int failed = step("version record");
  if (failed == 0) failed = version_write_record(path, list_file_definition(name).version, final);
  return failed == 0 || fail(problem, path, failed);
}

bool build(const std::string& directory, const ListFiles& files,
           const std::vector<StoredList>& lists, std::string& problem) {
  const auto in_place_of = [&directory](std::string_view name) {
    const std::string path = list_file_path(directory, name);
    return NewListFile{.path = path + kNew, .like = path};
  };
  const NewListFiles paths = {.lists = in_place_of(files.lists),
                              .blocks = in_place_of(files.blocks),
                              .store = in_place_of(files.store)};
  if (const int failed = step("build")) return fail(problem, paths.lists.path, failed);
  return stored_lists_write(paths, files, lists, problem) &&
         write_version(directory, files.lists, problem) &&
         write_version(directory, files.blocks, problem);
}

// The sync of the directory makes the names of the new files durable before the commit file's name:
// both lie in that directory.
bool commit(const std::string& directory, const ListFiles& files, std::string& problem) {
  const std::string path = commit_path(directory, files);
  int failed = step("names of the new files");
  if (failed == 0) failed = file_sync_directory(path.c_str());
  if (failed == 0) failed = step("commit");
  if (failed == 0 && stop_signals_pending()) failed = EINTR;
  if (failed == 0) failed = file_put(path.c_str(), "The new list files are whole.\n");
  return failed == 0 || fail(problem, path, failed);
}

}  // namespace

bool list_files_recover(const std::string& directory, const ListFiles& files,
                        std::string& problem) {
  if (!is_committed(directory, files)) return true;
  RecordFile held;
  if (!lock(directory, files, held, problem)) return false;
  return !is_committed(directory, files) || roll_forward(directory, files, problem);
}

bool ListFilesHold::begin(const std::string& directory, const ListFiles& files,
                          std::string& problem) {
  while (list_files_recover(directory, files, problem)) {
    if (!lock_shared(directory, files, lock_, problem)) return false;
    if (!is_committed(directory, files)) return true;
    lock_.close();  // killed just now
  }
  return false;
}

ListInstallation::ListInstallation(std::string directory, const ListFiles& files)
    : directory_(std::move(directory)), files_(files) {}

bool ListInstallation::begin(std::string& problem) {
  if (const int failed = file_make_directory(directory_.c_str()))
    return fail(problem, directory_, failed);
  if (!lock(directory_, files_, lock_, problem)) return false;
  if (is_committed(directory_, files_)) return roll_forward(directory_, files_, problem);
  return remove_new_files(directory_, files_, problem);
}

bool ListInstallation::put_in_place(const std::vector<StoredList>& lists, std::string& problem) {
  const StopSignalsHold hold;
  const bool ready =
      build(directory_, files_, lists, problem) && commit(directory_, files_, problem);
  // A commit that failed may have left its file, if only the sync of the directory failed.
  if (!ready && !is_committed(directory_, files_)) {
    std::string ignored;
    remove_new_files(directory_, files_, ignored);
    return false;
  }
  if (roll_forward(directory_, files_, problem)) return true;
  problem += "; the new lists are whole, the next run installs them";
  return false;
}

}  // namespace marigold::inner
