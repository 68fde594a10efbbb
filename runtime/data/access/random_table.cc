// SPDX-License-Identifier: GPL-3.0-or-later
// Random files of a cluster: a keyed file whose primary key is the record's number. A deleted
// record stays there with its deletion marker, so that its number is not given out again; a number
// that programs jumped over has no record.

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>
#include <vector>

#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/random_store.h"
#include "runtime/data/access/walk_ahead.h"
#include "runtime/platform/mapped_file.h"
#include "runtime/platform/process.h"

namespace marigold::inner {
namespace {

constexpr RecordNumber kLastNumber = std::numeric_limits<std::int32_t>::max();

struct State {
  int open = 0;  // random files and lock files
};

State state;

int number_of(int result) {
  return result < 0 ? iserrno : 0;
}

void put_number(RecordNumber number, std::span<char> record) {
  isst_int4(static_cast<std::int32_t>(number), record.data());
}

class TableStore final : public RandomStore {
 public:
  TableStore() : process_(process_number()) {}
  // A process that ends gives the file back by ending.
  ~TableStore() override = default;

  int open(const RandomOpening& opening, bool& created);

  [[nodiscard]] bool is_open() const override {
    return descriptor_ >= 0 && process_ == process_number();
  }
  int close() override {
    --state.open;
    return number_of(ISCLOSE(std::exchange(descriptor_, -1)));
  }
  int is_empty(bool& empty) override;
  int last(RecordNumber& number) override;
  int fetch(RecordNumber number, bool lock, std::span<char> record, bool& found) override;
  int walk(RecordNumber& number, int step, std::span<char> record) override;
  int write(RecordNumber number, std::span<const char> record) override;
  int append(std::span<char> record) override;
  int remove(RecordNumber number, std::span<char> scratch) override;
  int release() override { return number_of(ISRELEASE(descriptor_)); }

 private:
  int read(std::span<char> record, int mode);
  int begin_walk(RecordNumber number, int step, std::span<char> record);
  int check_not_locked(std::span<const char> record);

  int descriptor_ = -1;
  long process_;             // which has opened the file
  RecordNumber at_ = 0;      // the engine's current record; 0: not known
  int told_ahead_ = 0;       // see walk_ahead.h
  std::vector<char> spare_;  // a record
};

// A new file is made in the wanted mode, so that it is never closed in between: another process
// would take the exclusive lock of its maker for that of a user.
int TableStore::open(const RandomOpening& opening, bool& created) {
  constexpr int kPatience = 200;
  const std::string base = random_table(opening.path, opening.owner);
  const int lock = opening.exclusive ? kIsExclusive : kIsManualLock;
  const int access = opening.file.read_only ? kIsReadOnly : kIsInputOutput;
  const int length = opening.file.definition.record_length;
  spare_.resize(static_cast<std::size_t>(length));
  // Programs may have as many keyed files open as ever beside their random files.
  if (isopenlimit(kIsMostOpen + state.open + 1) != 0) return iserrno;
  for (int round = 0; round < kPatience; ++round) {
    if (round > 0) wait_a_little(round);
    descriptor_ = ISOPEN(base.c_str(), access | lock);
    if (descriptor_ >= 0 || iserrno != ENOENT) break;
    descriptor_ = ISBUILD(base.c_str(), length, random_key(), kIsInputOutput | lock);
    created = created || descriptor_ >= 0;
    if (descriptor_ >= 0 || iserrno != EEXIST) break;
  }
  if (descriptor_ < 0) return iserrno;
  ++state.open;
  std::string reason;
  const int failed = random_check(descriptor_, length, reason);
  if (failed == 0) return 0;
  if (!reason.empty()) user_interface().warning((data_path_shown(base) + ": " + reason).c_str());
  data_fatal(base.c_str(), failed);
}

int TableStore::read(std::span<char> record, int mode) {
  const int failed = number_of(ISREAD(descriptor_, record.data(), mode));
  at_ = failed == 0 ? isld_int4(record.data()) : 0;
  return failed;
}

bool is_none(int failed) {
  return failed == kIsEndOfFile || failed == kIsNoRecord || failed == kIsNoCurrent;
}

int TableStore::is_empty(bool& empty) {
  const int failed = read(spare_, kIsFirst);
  empty = is_none(failed);
  return empty ? 0 : failed;
}

int TableStore::last(RecordNumber& number) {
  const int failed = read(spare_, kIsLast);
  number = at_;
  return is_none(failed) ? 0 : failed;
}

int TableStore::fetch(RecordNumber number, bool lock, std::span<char> record, bool& found) {
  put_number(number, record);
  int failed = read(record, lock ? kIsEqual | kIsLock : kIsEqual);
  if (failed == kIsNoRecord && lock) {
    bool taken = false;
    failed = number_of(islock(descriptor_, record.data(), taken));
    if (failed == 0) failed = read(record, kIsEqual);  // it may have been written meanwhile
  }
  found = failed == 0 && record.back() == kLiveRecord;
  return failed == kIsNoRecord ? 0 : failed;
}

// Reads the first record from `number` on, live or not.
int TableStore::begin_walk(RecordNumber number, int step, std::span<char> record) {
  if (number < 1 || number > kLastNumber) return kIsEndOfFile;
  if (at_ == number - step && at_ != 0) return read(record, step > 0 ? kIsNext : kIsPrevious);
  put_number(number, record);
  if (step > 0) return read(record, kIsGreaterOrEqual);
  // Stands between the number and the next one.
  const int failed = number_of(ISSTART(descriptor_, random_key(), 0, record.data(), kIsGreater));
  return failed == 0 || failed == kIsNoRecord ? read(record, kIsPrevious) : failed;
}

int TableStore::walk(RecordNumber& number, int step, std::span<char> record) {
  int failed = walk_ahead(descriptor_, 0, told_ahead_);
  if (failed == 0) failed = begin_walk(number, step, record);
  while (failed == 0 && record.back() != kLiveRecord)
    failed = read(record, step > 0 ? kIsNext : kIsPrevious);
  number = failed == 0 ? at_ : 0;
  return is_none(failed) ? 0 : failed;
}

// Records are mostly written at numbers that have one already.
int TableStore::write(RecordNumber /*number*/, std::span<const char> record) {
  int failed = 0;
  do {
    failed = number_of(ISREPLACE(descriptor_, record.data()));
    if (failed != kIsNoRecord) return failed;
    failed = number_of(ISWRITE(descriptor_, record.data()));
  } while (failed == kIsDuplicate);  // another process has written one meanwhile
  return failed;
}

// The key keeps two processes from one number: the one that comes late tries the number after the
// last one again. A number that somebody has locked without a record is left to him.
int TableStore::append(std::span<char> record) {
  int failed = kIsDuplicate;
  for (RecordNumber left = 0; failed == kIsDuplicate || failed == kIsLocked;) {
    RecordNumber number = 0;
    if (const int unread = last(number)) return unread;
    number = std::max(number, left) + 1;
    if (number > kLastNumber) return EFBIG;
    put_number(number, record);
    failed = number_of(ISWRITE(descriptor_, record.data()));
    if (failed == kIsLocked) left = number;
  }
  return failed;
}

// For a number without a record, of which no change can tell.
int TableStore::check_not_locked(std::span<const char> record) {
  bool taken = false;
  const int failed = number_of(islock(descriptor_, record.data(), taken));
  return failed == 0 && taken ? number_of(isunlock(descriptor_, record.data())) : failed;
}

int TableStore::remove(RecordNumber number, std::span<char> scratch) {
  bool found = false;
  if (number < 1) return 0;
  if (const int failed = fetch(number, false, scratch, found)) return failed;
  if (!found) return check_not_locked(scratch);
  scratch.back() = kDeletedRecord;
  return number_of(ISREPLACE(descriptor_, scratch.data()));
}

}  // namespace

KeyDescription random_key() {
  KeyDescription key{.part_count = 1};
  key.parts[0] = {.start = 0, .length = 4, .type = kIsInt4};
  return key;
}

std::string random_table(const std::string& path, RandomOwner owner) {
  return owner == RandomOwner::kRuntime ? path : data_path_with(path, ".random");
}

int random_check(int descriptor, int record_length, std::string& reason) {
  IsamInfo shape;
  if (isshape(descriptor, shape) != 0) return iserrno;
  if (shape.record_length != record_length)
    reason = "its record length is " + std::to_string(shape.record_length) +
             ", the definition has " + std::to_string(record_length);
  else if (shape.keys[0].parts != random_key().parts)
    reason = "it is no random file";
  return reason.empty() ? 0 : kIsBadFile;
}

int random_open_table(const RandomOpening& opening, std::unique_ptr<RandomStore>& store,
                      bool& created) {
  auto opened = std::make_unique<TableStore>();
  const int failed = opened->open(opening, created);
  if (failed == 0) store = std::move(opened);
  return failed;
}

}  // namespace marigold::inner
