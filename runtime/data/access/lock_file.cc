// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/lock_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/lock_decision.h"
#include "runtime/data/access/random_file.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/process.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::int32_t kHolderLength = 64;    // bytes of a record
constexpr std::uint64_t kMostHolders = 4096;  // further holders have a lock but no record

// A lock file is a random file outside all definition sets.
struct LockHandle {
  explicit LockHandle(FileDefinition of) : definition(std::move(of)), file(definition) {}

  const FileDefinition definition;
  DataFile file;
};

struct Entry {
  std::unique_ptr<LockHandle> handle;  // null: not held
  bool exclusive = false;
};

struct State {
  std::array<Entry, kPathClasses> entries;
};

State state;

Entry& entry_of(int path_class) {
  if (path_class < 0 || path_class >= kPathClasses) raise_fatal(kErrorPathClass);
  return state.entries[static_cast<std::size_t>(path_class)];
}

std::string lock_path(int path_class) {
  return data_path_in(data_directory(path_class), "lock.$$$");
}

// ---- Holders

constexpr std::string_view kExclusiveWord = "exclusive";

// Returns the line of a holder: process number, kind of the lock, host; blanks fill it up.
std::array<char, kHolderLength> holder_record(bool exclusive) {
  std::string line = std::to_string(process_number()) + " " +
                     std::string(exclusive ? kExclusiveWord : "shared") + " " + host_name();
  line.resize(kHolderLength - 1, ' ');
  std::array<char, kHolderLength> record{};
  std::ranges::copy(line, record.begin());
  record.back() = '\n';
  return record;
}

LockHolder parse_holder(std::string_view record) {
  const auto next_word = [&] {
    record.remove_prefix(std::min(record.find_first_not_of(' '), record.size()));
    const std::string_view word = record.substr(0, record.find_first_of(" \n"));
    record.remove_prefix(word.size());
    return word;
  };
  LockHolder holder;
  const std::string_view number = next_word();
  std::from_chars(number.data(), number.data() + number.size(), holder.process);
  holder.exclusive = next_word() == kExclusiveWord;
  holder.host = next_word();
  return holder;
}

// Writes the record of this process into the first place whose byte no process has locked. The
// record is information only: a failure leaves the lock as it is. A cluster knows the holders.
void write_holder(RecordFile* bytes, bool exclusive) {
  if (bytes == nullptr) return;
  RecordFile& file = *bytes;
  for (std::uint64_t place = 0; place < kMostHolders; ++place) {
    const int failed = file.lock(kRandomUserLocks + place, 1, true);
    if (failed == EAGAIN) continue;
    if (failed == 0) file.write(place * kHolderLength, holder_record(exclusive));
    return;
  }
}

// ---- Taking and giving back

FileDefinition lock_definition(int path_class) {
  FileDefinition definition;
  definition.type = FileType::kRandom;
  definition.record_length = kHolderLength;
  definition.path_class = static_cast<std::int8_t>(path_class);
  return definition;
}

// Forgets a handle that this process inherited by a fork: the parent still holds that lock.
void forget_inherited(Entry& entry) {
  if (entry.handle != nullptr && !random_is_open(entry.handle->file)) entry = Entry{};
}

void release(int path_class) {
  Entry& entry = entry_of(path_class);
  forget_inherited(entry);
  if (entry.handle == nullptr) return;
  random_close(entry.handle->file);
  entry = Entry{};
  status_path_event(path_class, false, data_path_shown(data_directory(path_class)).c_str());
}

// Takes the class. Without a LockWait the first result is final.
int take(int path_class, bool exclusive, std::optional<LockWait> wait) {
  Entry& entry = entry_of(path_class);
  if (!settings().multi_user) return kDataDone;
  open_subsystems().path_locks = true;
  forget_inherited(entry);
  if (entry.handle != nullptr && entry.exclusive == exclusive) return kDataDone;
  release(path_class);
  auto handle = std::make_unique<LockHandle>(lock_definition(path_class));
  bool created = false;
  int result = kDataDone;
  do {
    result =
        random_open(handle->file, lock_path(path_class), created, exclusive, RandomOwner::kRuntime);
  } while (wait && lock_try_again(handle->file, result, *wait, LockPhase::kOpening));
  if (result != kDataDone) return result;
  write_holder(random_bytes(handle->file), exclusive);
  entry = {.handle = std::move(handle), .exclusive = exclusive};
  status_path_event(path_class, true, data_path_shown(data_directory(path_class)).c_str());
  return kDataDone;
}

}  // namespace

void inner::path_lock_start() {
  for (Entry& entry : state.entries) {
    forget_inherited(entry);
    if (entry.handle != nullptr) random_close(entry.handle->file);
  }
  state = State{};
}

int path_lock_exclusive(int path_class) {
  return take(path_class, true, LockWait::kAsk);
}

int path_lock_shared(int path_class) {
  return take(path_class, false, LockWait::kTellAndWait);
}

int path_lock_try_shared(int path_class) {
  return take(path_class, false, std::nullopt);
}

void path_lock_all_defined() {
  for (const FileDefinition* file : definitions_by_name())
    path_lock_shared(file->path_class);
}

void path_lock_release(int path_class) {
  release(path_class);
}

void path_lock_release_all() {
  for (int path_class = 0; path_class < kPathClasses; ++path_class)
    release(path_class);
  open_subsystems().path_locks = false;
}

namespace {

// Adds processes that hold a lock without a record in the file. A process that may read but not
// write the lock file holds a lock without a record, and so does one whose place has the record of
// another process. The operating system may list them.
void add_nameless(int path_class, std::vector<LockHolder>& holders) {
  for (const LockingProcess& process : processes_locking(lock_path(path_class).c_str())) {
    const auto is_named = [&](const LockHolder& holder) {
      return holder.process == process.number;
    };
    if (std::ranges::none_of(holders, is_named))
      holders.push_back(
          {.process = process.number, .host = host_name(), .exclusive = process.exclusive});
  }
}

int holders_in_cluster(const std::string& path, std::vector<LockHolder>& holders) {
  std::vector<IsHolder> found;
  if (isholders(path, found) != 0) return iserrno == ENOENT ? 0 : iserrno;
  for (const IsHolder& holder : found)
    holders.push_back(
        {.process = holder.process, .host = holder.host, .exclusive = holder.exclusive});
  return 0;
}

}  // namespace

int inner::lock_file_holders(int path_class, std::vector<LockHolder>& holders) {
  holders.clear();
  if (is_cluster_address(lock_path(path_class)))
    return holders_in_cluster(lock_path(path_class), holders);
  RecordFile file;
  if (const int failed = file.open(lock_path(path_class).c_str(), false))
    return failed == ENOENT ? 0 : failed;
  std::uint64_t size = 0;
  if (const int failed = file.size(size)) return failed;
  for (std::uint64_t place = 0; place < std::min(size / kHolderLength, kMostHolders); ++place) {
    bool locked = false;
    if (const int failed = file.locked_exclusively_by_other(kRandomUserLocks + place, locked))
      return failed;
    if (!locked) continue;
    std::array<char, kHolderLength> record{};
    std::size_t length = 0;
    if (const int failed = file.read(place * kHolderLength, record, length)) return failed;
    holders.push_back(parse_holder({record.data(), length}));
  }
  add_nameless(path_class, holders);
  bool locked = false;
  if (const int failed = file.locked_by_other(kRandomFileLock, locked)) return failed;
  if (locked && holders.empty()) holders.push_back({});  // an unknown process
  return 0;
}

}  // namespace marigold
