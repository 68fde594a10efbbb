// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/random_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "runtime/core/current_operation.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner {
namespace {

// ---- Bytes that processes lock, far beyond the data

constexpr std::uint64_t kAppendLock = kRandomFileLock + 1;
constexpr std::uint64_t kRecordLocks =
    kRandomFileLock + (std::uint64_t{1} << 33);  // plus the number
constexpr std::uint64_t kAllRecords = std::uint64_t{1} << 32;

constexpr char kLive = 0;
constexpr char kDeleted = 1;

using RecordNumber = std::int64_t;  // 1 to 2^31 - 1

struct OpenFile {
  RecordFile bytes;
  std::string path;
  RecordNumber position = 0;  // the record read last; 0: before the first one
  bool behind_last = false;   // the last read went past the last record
};

struct State {
  std::vector<std::unique_ptr<OpenFile>> files;  // by descriptor; null: free
  std::vector<char> scratch;                     // a record, until it is known to be live
};

State state;

OpenFile* file_at(const DataFile& file) {
  const auto descriptor = static_cast<std::size_t>(file.engine.descriptor);
  const bool known = file.engine.descriptor >= 0 && descriptor < state.files.size();
  OpenFile* const open = known ? state.files[descriptor].get() : nullptr;
  return open != nullptr && open->bytes.is_open() ? open : nullptr;  // closed in a forked child
}

// Begins an operation on an open file.
OpenFile& begin(const DataFile& file, const char* operation) {
  set_current_operation(operation);
  OpenFile* open = file_at(file);
  if (open == nullptr ||
      file.record.size() != static_cast<std::size_t>(file.definition.record_length))
    data_fatal("", kIsNotOpen);
  return *open;
}

void require(const OpenFile& open, int failed) {
  if (failed != 0) data_fatal(open.path.c_str(), failed);
}

std::uint64_t offset_of(const DataFile& file, RecordNumber number) {
  return static_cast<std::uint64_t>(number - 1) *
         static_cast<std::uint64_t>(file.definition.record_length);
}

RecordNumber number_in(const DataFile& file) {
  return isld_int4(file.record.data());
}

RecordNumber count(const DataFile& file, const OpenFile& open) {
  std::uint64_t size = 0;
  require(open, open.bytes.size(size));
  return static_cast<RecordNumber>(size /
                                   static_cast<std::uint64_t>(file.definition.record_length));
}

// Reads the record of this number into the scratch buffer. Returns false without such a record.
bool fetch(const DataFile& file, const OpenFile& open, RecordNumber number) {
  if (number < 1) return false;
  state.scratch.resize(file.record.size());
  std::size_t length = 0;
  require(open, open.bytes.read(offset_of(file, number), state.scratch, length));
  return length == state.scratch.size() && state.scratch.back() == kLive &&
         isld_int4(state.scratch.data()) == number;
}

// Puts the fetched record into the handle's buffer and stands on it.
int deliver(DataFile& file, OpenFile& open, RecordNumber number) {
  file.record = state.scratch;
  open.position = number;
  open.behind_last = false;
  return kDataDone;
}

// Delivers the first record from `number` on in steps of 1 or -1.
int walk(DataFile& file, OpenFile& open, RecordNumber number, int step) {
  const RecordNumber last = count(file, open);
  if (step < 0) number = std::min(number, last);
  for (; number >= 1 && number <= last; number += step) {
    if (fetch(file, open, number)) return deliver(file, open, number);
  }
  return kDataNotFound;
}

// Stands after the last record: the previous record is the last one, the next record is one that is
// added later.
void stand_behind_last(const DataFile& file, OpenFile& open) {
  open.position = count(file, open);
  open.behind_last = true;
}

// Returns 0, or 4 if another process has locked the number. A number below 1 has no lock.
int check_not_locked(const OpenFile& open, RecordNumber number) {
  bool locked = false;
  if (number >= 1)
    require(open, open.bytes.locked_exclusively_by_other(
                      kRecordLocks + static_cast<std::uint64_t>(number), locked));
  return locked ? kDataLocked : kDataDone;
}

// 0 or 4.
int take_lock(OpenFile& open, std::uint64_t byte, bool exclusive) {
  const int failed = open.bytes.lock(byte, 1, exclusive);
  if (failed == EAGAIN) return kDataLocked;
  require(open, failed);
  return kDataDone;
}

// Locks the end of the file. A process that has this lock is appending and soon done, or is dead. A
// process that only reads the file can also hold the lock for any time: 4 after some ten seconds.
int lock_end(OpenFile& open) {
  constexpr int kMostRounds = 10'000;
  int result = kDataLocked;
  for (int round = 0; result == kDataLocked && round < kMostRounds; ++round) {
    if (round > 0) wait_a_little(round);
    result = take_lock(open, kAppendLock, true);
  }
  return result;
}

// 0 or 4.
int append_record(DataFile& file, OpenFile& open) {
  if (const int result = lock_end(open)) return result;
  const RecordNumber number = count(file, open) + 1;
  if (number > std::numeric_limits<std::int32_t>::max()) require(open, EFBIG);
  isst_int4(static_cast<std::int32_t>(number), file.record.data());
  const int failed = open.bytes.write(offset_of(file, number), file.record);
  require(open, open.bytes.unlock(kAppendLock, 1));
  require(open, failed);
  return kDataDone;
}

int open_there(OpenFile& open, bool writable, RandomOwner owner) {
  const char* path = open.path.c_str();
  return owner == RandomOwner::kRuntime ? open.bytes.open_own(path, writable)
                                        : open.bytes.open(path, writable);
}

// Opens the file, or makes it. Another process may make the file at the same moment.
int open_bytes(const DataFile& file, OpenFile& open, bool& created, bool writable,
               RandomOwner owner) {
  const int failed = open_there(open, writable, owner);
  if (failed != ENOENT) return failed;
  if (const int no_directory = data_make_directory(file)) return no_directory;
  const int not_made = open.bytes.create(open.path.c_str());
  if (not_made != 0 && not_made != EEXIST) return not_made;
  created = created || not_made == 0;
  return open_there(open, writable, owner);
}

}  // namespace

int random_open(DataFile& file, const std::string& path, bool& created, bool exclusive,
                RandomOwner owner) {
  set_current_operation("random_open");
  auto open = std::make_unique<OpenFile>();
  open->path = path;
  // A program that replaces the file holds the old one open until the new one is in place. The lock
  // taken here is then a lock of a file without a name, so this process opens the new file.
  do {
    require(*open, open_bytes(file, *open, created, exclusive || !file.read_only, owner));
    if (const int result = take_lock(*open, kRandomFileLock, exclusive)) return result;
  } while (!open->bytes.is_still_at(path.c_str()));
  const auto place = std::find(state.files.begin(), state.files.end(), nullptr);
  file.engine = EngineState{};
  file.engine.descriptor = static_cast<int>(place - state.files.begin());
  if (place == state.files.end()) {
    state.files.push_back(std::move(open));
  } else {
    *place = std::move(open);
  }
  return kDataDone;
}

bool random_is_empty(const DataFile& file) {
  const OpenFile* open = file_at(file);
  std::uint64_t size = 0;
  return open != nullptr && open->bytes.size(size) == 0 && size == 0;
}

int random_read(DataFile& file, bool lock) {
  OpenFile& open = begin(file, "random_read");
  const RecordNumber number = number_in(file);
  if (number < 1) return kDataNotFound;
  if (lock) {
    const int result = take_lock(open, kRecordLocks + static_cast<std::uint64_t>(number), true);
    if (result != kDataDone) return result;
  }
  return fetch(file, open, number) ? deliver(file, open, number) : kDataNotFound;
}

int random_exists(DataFile& file) {
  const OpenFile& open = begin(file, "random_exists");
  return fetch(file, open, number_in(file)) ? kDataDone : kDataNotFound;
}

int random_write(DataFile& file) {
  OpenFile& open = begin(file, "random_write");
  const RecordNumber number = number_in(file);
  file.record.back() = kLive;
  if (const int result = check_not_locked(open, number)) return result;
  if (number < 1) return append_record(file, open);
  require(open, open.bytes.write(offset_of(file, number), file.record));
  return kDataDone;
}

int random_delete(DataFile& file) {
  OpenFile& open = begin(file, "random_delete");
  const RecordNumber number = number_in(file);
  if (const int result = check_not_locked(open, number)) return result;
  if (!fetch(file, open, number)) return kDataDone;
  const std::uint64_t marker = offset_of(file, number + 1) - 1;
  require(open, open.bytes.write(marker, std::span(&kDeleted, 1)));
  return kDataDone;
}

int random_read_from(DataFile& file) {
  OpenFile& open = begin(file, "random_readgen");
  const int result = walk(file, open, std::max<RecordNumber>(number_in(file), 1), 1);
  if (result == kDataNotFound) stand_behind_last(file, open);
  return result;
}

int random_read_first(DataFile& file) {
  return walk(file, begin(file, "random_readfirst"), 1, 1);
}

int random_read_last(DataFile& file) {
  OpenFile& open = begin(file, "random_readlast");
  return walk(file, open, count(file, open), -1);
}

int random_read_next(DataFile& file) {
  OpenFile& open = begin(file, "random_readnext");
  const int result = walk(file, open, open.position + 1, 1);
  if (result == kDataNotFound) stand_behind_last(file, open);
  return result;
}

int random_read_previous(DataFile& file) {
  OpenFile& open = begin(file, "random_readprev");
  const int result = walk(file, open, open.behind_last ? open.position : open.position - 1, -1);
  if (result == kDataNotFound) open.position = 0;
  open.behind_last = false;
  return result;
}

void random_release(DataFile& file) {
  OpenFile& open = begin(file, "random_release");
  require(open, open.bytes.unlock(kRecordLocks, kAllRecords));
}

void random_close(DataFile& file) {
  set_current_operation("random_close");
  if (file_at(file) == nullptr) data_fatal("", kIsNotOpen);
  const auto descriptor = std::exchange(file.engine, EngineState{}).descriptor;
  state.files[static_cast<std::size_t>(descriptor)].reset();
}

RecordFile* random_bytes(const DataFile& file) {
  OpenFile* open = file_at(file);
  return open == nullptr ? nullptr : &open->bytes;
}

}  // namespace marigold::inner
