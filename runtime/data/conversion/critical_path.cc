// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/data.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>

#include "runtime/core/status_file.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/access/version.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/path.h"

namespace marigold {

using namespace inner;

namespace {

constexpr int kNoClass = -1;

struct Entry {
  std::string directory;  // empty: no entry
  CriticalPathState state = CriticalPathState::kUnchecked;
  int path_class = kNoClass;  // while it is open
};

struct State {
  std::array<Entry, kCriticalPaths> entries;
};

State state;

Entry* entry_at(int number) {
  const bool known = number >= 1 && number <= kCriticalPaths;
  return known ? &state.entries[static_cast<std::size_t>(number - 1)] : nullptr;
}

// Returns one form for all spellings of a directory. Addresses are compared as they are written.
std::string normal(std::string_view directory) {
  if (is_cluster_address(directory)) return std::string(path_without_end(directory));
  const std::string text = path_of_library(library_path(directory).lexically_normal());
  return std::string(path_without_end(text));
}

bool is_open(const Entry& entry) {
  return entry.path_class != kNoClass;
}

bool in_use_by_another(const Entry& entry) {
  return std::ranges::any_of(state.entries, [&entry](const Entry& other) {
    return &other != &entry && is_open(other) && other.directory == entry.directory;
  });
}

int class_of(const std::string& directory) {
  for (int path_class = 0; path_class < kPathClasses; ++path_class) {
    if (normal(data_directory(path_class)) == directory) return path_class;
  }
  return kNoClass;
}

// Compares the versions. The number of the entry, not the class of its directory, selects the
// wanted version in the table: applications number their critical paths as PATHVER.DES does.
CriticalPathState compare_versions(int number, int path_class) {
  const double version = version_read_path(path_class);
  if (version_look_up_path(number) == version) return CriticalPathState::kReady;
  return version != 0 ? CriticalPathState::kConversionNeeded : CriticalPathState::kNew;
}

using Take = int (*)(int path_class);

CriticalPathState check(int number, Entry& entry, Take take) {
  if (in_use_by_another(entry)) return CriticalPathState::kInUse;
  const int path_class = class_of(entry.directory);
  if (path_class == kNoClass) return CriticalPathState::kUnknown;
  if (take(path_class) != kDataDone) return CriticalPathState::kInUse;
  const CriticalPathState found = compare_versions(number, path_class);
  if (found == CriticalPathState::kReady) {
    path_lock_shared(path_class);
    entry.path_class = path_class;
  } else {
    path_lock_release(path_class);
  }
  return found;
}

void close(Entry& entry) {
  if (is_open(entry)) path_lock_release(entry.path_class);
  entry.path_class = kNoClass;
}

bool check_all(Take take) {
  critical_path_close();
  bool ready = true;
  for (int number = 1; number <= kCriticalPaths; ++number) {
    Entry& entry = *entry_at(number);
    if (entry.directory.empty()) continue;
    entry.state = check(number, entry, take);
    ready = ready && entry.state == CriticalPathState::kReady;
  }
  if (!ready) std::ranges::for_each(state.entries, close);
  return ready;
}

}  // namespace

void critical_path_start() {
  state = State{};
}

void critical_path_set(int number, std::string_view directory) {
  Entry* entry = entry_at(number);
  if (entry == nullptr) return;
  close(*entry);
  *entry = Entry{};
  if (!directory.empty()) entry->directory = normal(directory);
}

bool critical_path_check() {
  return check_all(path_lock_exclusive);
}

// A conversion takes the class for itself, so a shared lock keeps the version as it is.
bool critical_path_check_shared() {
  return check_all(path_lock_shared);
}

CriticalPathState critical_path_state(int number) {
  const Entry* entry = entry_at(number);
  return entry == nullptr ? CriticalPathState::kUnchecked : entry->state;
}

void critical_path_close() {
  for (Entry& entry : state.entries) {
    close(entry);
    entry.state = CriticalPathState::kUnchecked;
  }
}

}  // namespace marigold
