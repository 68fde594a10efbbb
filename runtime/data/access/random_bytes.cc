// SPDX-License-Identifier: GPL-3.0-or-later
// Random files of a directory: record n lies at byte (n - 1) x record length, and locks are bytes
// far beyond the data.

#include <algorithm>
#include <cerrno>
#include <limits>

#include "runtime/data/access/data_path.h"
#include "runtime/data/access/random_store.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner {
namespace {

constexpr std::uint64_t kAppendLock = kRandomFileLock + 1;
constexpr std::uint64_t kRecordLocks =
    kRandomFileLock + (std::uint64_t{1} << 33);  // plus the number
constexpr std::uint64_t kAllRecords = std::uint64_t{1} << 32;

std::uint64_t lock_of(RecordNumber number) {
  return kRecordLocks + static_cast<std::uint64_t>(number);
}

class BytesStore : public RandomStore {
 public:
  explicit BytesStore(std::int32_t record_length)
      : length_(static_cast<std::uint64_t>(record_length)) {}

  int open(const RandomOpening& opening, bool& created);

  [[nodiscard]] bool is_open() const override { return bytes_.is_open(); }
  int close() override {
    bytes_.close();
    return 0;
  }
  int is_empty(bool& empty) override;
  int last(RecordNumber& number) override;
  int fetch(RecordNumber number, bool lock, std::span<char> record, bool& found) override;
  int walk(RecordNumber& number, int step, std::span<char> record) override;
  int write(RecordNumber number, std::span<const char> record) override;
  int append(std::span<char> record) override;
  int remove(RecordNumber number, std::span<char> scratch) override;
  int release() override { return bytes_.unlock(kRecordLocks, kAllRecords); }
  RecordFile* bytes() override { return &bytes_; }

 private:
  int open_there(const RandomOpening& opening, bool writable);
  int open_or_make(const RandomOpening& opening, bool& created);
  int take_lock(std::uint64_t byte, bool exclusive);
  int lock_end();
  [[nodiscard]] int check_not_locked(RecordNumber number) const;
  [[nodiscard]] std::uint64_t offset_of(RecordNumber number) const {
    return static_cast<std::uint64_t>(number - 1) * length_;
  }

  RecordFile bytes_;
  std::uint64_t length_;  // of a record
};

int BytesStore::open_there(const RandomOpening& opening, bool writable) {
  const char* path = opening.path.c_str();
  return opening.owner == RandomOwner::kRuntime ? bytes_.open_own(path, writable)
                                                : bytes_.open(path, writable);
}

// Another process may make the file at the same moment.
int BytesStore::open_or_make(const RandomOpening& opening, bool& created) {
  const bool writable = opening.exclusive || !opening.file.read_only;
  const int failed = open_there(opening, writable);
  if (failed != ENOENT) return failed;
  if (const int no_directory = data_make_directory(opening.file)) return no_directory;
  const int not_made = bytes_.create(opening.path.c_str());
  if (not_made != 0 && not_made != EEXIST) return not_made;
  created = created || not_made == 0;
  return open_there(opening, writable);
}

int BytesStore::open(const RandomOpening& opening, bool& created) {
  // A program that replaces the file holds the old one open until the new one is in place. The lock
  // taken here is then a lock of a file without a name, so this process opens the new file.
  do {
    if (const int failed = open_or_make(opening, created)) return failed;
    const int failed = take_lock(kRandomFileLock, opening.exclusive);
    if (failed != 0) return failed == kIsLocked ? kIsFileLocked : failed;
  } while (!bytes_.is_still_at(opening.path.c_str()));
  return 0;
}

int BytesStore::take_lock(std::uint64_t byte, bool exclusive) {
  const int failed = bytes_.lock(byte, 1, exclusive);
  return failed == EAGAIN ? kIsLocked : failed;
}

// A number below 1 has no lock.
int BytesStore::check_not_locked(RecordNumber number) const {
  bool locked = false;
  const int failed = number < 1 ? 0 : bytes_.locked_exclusively_by_other(lock_of(number), locked);
  return failed == 0 && locked ? kIsLocked : failed;
}

int BytesStore::is_empty(bool& empty) {
  std::uint64_t size = 0;
  const int failed = bytes_.size(size);
  empty = failed == 0 && size == 0;
  return failed;
}

int BytesStore::last(RecordNumber& number) {
  std::uint64_t size = 0;
  const int failed = bytes_.size(size);
  number = static_cast<RecordNumber>(size / length_);
  return failed;
}

int BytesStore::fetch(RecordNumber number, bool lock, std::span<char> record, bool& found) {
  found = false;
  if (lock) {
    if (const int failed = take_lock(lock_of(number), true)) return failed;
  }
  std::size_t length = 0;
  const int failed = bytes_.read(offset_of(number), record, length);
  found = failed == 0 && length == record.size() && record.back() == kLiveRecord &&
          isld_int4(record.data()) == number;
  return failed;
}

int BytesStore::walk(RecordNumber& number, int step, std::span<char> record) {
  RecordNumber end = 0;
  if (const int failed = last(end)) return failed;
  if (step < 0) number = std::min(number, end);
  for (; number >= 1 && number <= end; number += step) {
    bool found = false;
    const int failed = fetch(number, false, record, found);
    if (failed != 0 || found) return failed;
  }
  number = 0;
  return 0;
}

int BytesStore::write(RecordNumber number, std::span<const char> record) {
  if (const int failed = check_not_locked(number)) return failed;
  return bytes_.write(offset_of(number), record);
}

// Locks the end of the file. A process that has this lock is appending and soon done, or is dead. A
// process that only reads the file can also hold the lock for any time: kIsLocked after some ten
// seconds.
int BytesStore::lock_end() {
  constexpr int kMostRounds = 10'000;
  int failed = kIsLocked;
  for (int round = 0; failed == kIsLocked && round < kMostRounds; ++round) {
    if (round > 0) wait_a_little(round);
    failed = take_lock(kAppendLock, true);
  }
  return failed;
}

int BytesStore::append(std::span<char> record) {
  if (const int failed = lock_end()) return failed;
  RecordNumber number = 0;
  int failed = last(number);
  ++number;
  if (failed == 0 && number > std::numeric_limits<std::int32_t>::max()) failed = EFBIG;
  if (failed == 0) {
    isst_int4(static_cast<std::int32_t>(number), record.data());
    failed = bytes_.write(offset_of(number), record);
  }
  const int not_unlocked = bytes_.unlock(kAppendLock, 1);
  return failed != 0 ? failed : not_unlocked;
}

int BytesStore::remove(RecordNumber number, std::span<char> scratch) {
  bool found = false;
  if (const int failed = check_not_locked(number)) return failed;
  if (const int failed = number < 1 ? 0 : fetch(number, false, scratch, found)) return failed;
  if (!found) return 0;
  const std::uint64_t marker = offset_of(number + 1) - 1;
  return bytes_.write(marker, std::span(&kDeletedRecord, 1));
}

}  // namespace

int random_open_bytes(const RandomOpening& opening, std::unique_ptr<RandomStore>& store,
                      bool& created) {
  auto opened = std::make_unique<BytesStore>(opening.file.definition.record_length);
  const int failed = opened->open(opening, created);
  if (failed == 0) store = std::move(opened);
  return failed;
}

}  // namespace marigold::inner
