// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/isam_access.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "runtime/core/current_operation.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/change_turns.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/record_change.h"
#include "runtime/data/access/walk_ahead.h"
#include "runtime/platform/mapped_file.h"

namespace marigold::inner {
namespace {

constexpr char kLive = 0;
constexpr char kPlaceholder = 1;

struct State {
  std::vector<char> kept;     // the record with the key value of a read
  std::vector<char> whole;    // the record buffer during an existence test
  std::vector<char> scratch;  // records that are not delivered
};

State state;

[[noreturn]] void fatal(const char* name = "") {
  data_fatal(name, iserrno);
}

// Begins an operation on an open file.
void begin(const DataFile& file, const char* operation) {
  set_current_operation(operation);
  if (file.engine.descriptor < 0 ||
      file.record.size() != static_cast<std::size_t>(file.definition.record_length))
    data_fatal("", kIsNotOpen);
}

char& marker(DataFile& file) {
  return file.record.back();
}

// Reads into the record buffer. Returns 0, or the engine's number.
int read(DataFile& file, int mode) {
  return ISREAD(file.engine.descriptor, file.record.data(), mode) == 0 ? 0 : iserrno;
}

int write(const DataFile& file) {
  return ISWRITE(file.engine.descriptor, file.record.data()) == 0 ? 0 : iserrno;
}

void tell_ahead(DataFile& file) {
  EngineState& engine = file.engine;
  if (walk_ahead(engine.descriptor, engine.walk_ahead, engine.told_ahead) != 0) fatal();
}

// Moves to a record that another process has locked, without delivering the record.
void pass_locked(const DataFile& file, const std::vector<char>& from, int mode) {
  state.scratch = from;
  ISREAD(file.engine.descriptor, state.scratch.data(), mode);
}

// ---- Keys

std::int16_t part_type(FieldType type) {
  switch (type) {
    case FieldType::kInt:
      return kIsInt2;
    case FieldType::kLongint:
    case FieldType::kDate:
    case FieldType::kTime:
      return kIsInt4;
    case FieldType::kReal:
      return kIsDouble;
    default:
      return kIsCharacters;
  }
}

bool same_key(const KeyDescription& a, const KeyDescription& b) {
  return a.flags == b.flags && a.part_count == b.part_count &&
         std::equal(a.parts.begin(), a.parts.begin() + a.part_count, b.parts.begin());
}

// Counts the keys of the file, from the first, that are as the definition has them.
int keys_in_common(const FileDefinition& file, const IsamInfo& info) {
  const int most = std::min(file.keys.key_count, info.key_count);
  int same = 0;
  while (same < most &&
         same_key(isam_key(file, same + 1), info.keys[static_cast<std::size_t>(same)]))
    ++same;
  return same;
}

void select_key(DataFile& file, int key) {
  if (file.engine.selected_key == key) return;
  if (key < 1 || key > file.definition.keys.key_count) data_fatal("", kIsBadKey);
  // ISSTART selects the key also when it finds no record, so a missing record is no failure here.
  ISSTART(file.engine.descriptor, isam_key(file.definition, key), 0, file.record.data(), kIsEqual);
  file.engine.selected_key = key;
  file.engine.behind_last = false;
}

// Whether the record in the buffer has the kept key value.
bool has_kept_value(const DataFile& file, int key) {
  const KeyDefinition& wanted = file.definition.keys.keys[static_cast<std::size_t>(key - 1)];
  const auto segments =
      std::span(wanted.segments).first(static_cast<std::size_t>(wanted.segment_count));
  return std::ranges::all_of(segments, [&](const KeySegment& segment) {
    return std::memcmp(file.record.data() + segment.start, state.kept.data() + segment.start,
                       static_cast<std::size_t>(segment.length)) == 0;
  });
}

// ---- Making and opening

int add_further_keys(const FileDefinition& file, int descriptor, int present) {
  for (int key = present + 1; key <= file.keys.key_count; ++key) {
    if (ISADDINDEX(descriptor, isam_key(file, key)) != 0) return iserrno;
  }
  return 0;
}

// Returns 0, or the error number.
int build(const DataFile& file, const std::string& base, bool& created) {
  if (const int failed = data_make_directory(file)) return failed;
  const int descriptor = ISBUILD(base.c_str(), file.definition.record_length,
                                 isam_key(file.definition, 1), kIsInputOutput | kIsExclusive);
  if (descriptor < 0) return iserrno;
  const int failed = add_further_keys(file.definition, descriptor, 1);
  if (ISCLOSE(descriptor) != 0 && failed == 0) return iserrno;
  created = failed == 0;
  return failed;
}

// Rounds in which a process waits for others that make or finish the same file.
constexpr int kPatience = 200;

// Opens the file, or makes and opens it. If several processes find the file missing at once, one
// makes it and the others try again to open it. 113 from the build: another process has opened the
// new file already.
int open_or_make(const DataFile& file, const std::string& base, int mode, bool& created) {
  for (int round = 0;; ++round) {
    const int descriptor = ISOPEN(base.c_str(), mode);
    if (descriptor >= 0 || iserrno != ENOENT || file.read_only) return descriptor;
    const int failed = build(file, base, created);
    const bool overtaken = failed == EEXIST || failed == kIsFileLocked;
    if (failed != 0 && (!overtaken || round == kPatience)) data_fatal("make_isam", failed);
    if (failed != 0) wait_a_little(round);
  }
}

// Asks for the number of records only if the file lacks keys.
bool is_half_made(const DataFile& file, int descriptor, const IsamInfo& shape) {
  return !file.read_only && isam_is_half_made(file.definition, shape) && iscount(descriptor) == 0;
}

void require_fit(const DataFile& file, const std::string& base, int descriptor,
                 const IsamInfo& shape) {
  std::string reason;
  if (isam_fits(file.definition, shape, reason)) return;
  ISCLOSE(descriptor);
  user_interface().warning((data_path_shown(base) + ": " + reason).c_str());
  data_fatal(base.c_str(), kIsBadFile);
}

int open_for(const DataFile& file, const std::string& base, int mode, bool& created) {
  for (int round = 0;; ++round) {
    const int descriptor = open_or_make(file, base, mode, created);
    if (descriptor < 0) return descriptor;
    IsamInfo shape;
    if (isshape(descriptor, shape) != 0) fatal(base.c_str());
    if (!is_half_made(file, descriptor, shape)) {
      require_fit(file, base, descriptor, shape);
      return descriptor;
    }
    ISCLOSE(descriptor);
    iserrno = isam_finish_making(file.definition, base);
    if (iserrno != 0 && iserrno != kIsFileLocked) fatal(base.c_str());
    if (iserrno == kIsFileLocked && round == kPatience) return -1;
    if (iserrno == kIsFileLocked) wait_a_little(round);  // for others that have just found it, too
  }
}

// ---- Reading

// Reads a record by the primary key, with or without a lock.
int read_primary(DataFile& file, bool lock) {
  const int mode = lock ? kIsEqual | kIsLock : kIsEqual;
  for (;;) {
    switch (read(file, mode)) {
      case 0:
        return marker(file) != kLive ? kDataNotFound : kDataDone;
      case kIsLocked:
        pass_locked(file, file.record, kIsEqual);
        return kDataLocked;
      case kIsUnfinished:
        return kDataUnfinished;
      case kIsNoRecord:
        if (!lock) return kDataNotFound;
        break;
      default:
        fatal();
    }
    // The next round reads and so locks the placeholder. If another process has written a record
    // with this key first, the next round finds that record.
    marker(file) = kPlaceholder;
    const int failed = write(file);
    if (failed == kIsLocked) return kDataLocked;  // by a process that has just deleted the record
    if (failed == kIsUnfinished) return kDataUnfinished;
    if (failed != 0 && failed != kIsDuplicate) data_fatal("", failed);
  }
}

// Steps of a positioned read: the mode of the first read, and the mode that passes placeholders.
struct Walk {
  int first;
  int skip;
};

int read_live(DataFile& file, const Walk& walk) {
  int failed = read(file, walk.first);
  while (failed == 0 && marker(file) == kPlaceholder)
    failed = read(file, walk.skip);
  return failed;
}

int read_positioned(DataFile& file, int key, Walk walk) {
  select_key(file, key);
  const bool behind_last = std::exchange(file.engine.behind_last, false);
  // The failed read for a next record went past the last record, so the last record is the previous
  // one.
  if (behind_last && walk.first == kIsPrevious) walk.first = kIsCurrent;
  int failed = read_live(file, walk);
  if (failed == kIsNoCurrent && walk.first == kIsCurrent)
    failed = read_live(file, {kIsPrevious, kIsPrevious});  // deleted meanwhile
  if (failed == 0) return kDataDone;
  if (failed == kIsNoCurrent) return kDataNotFound;
  if (failed != kIsEndOfFile && failed != kIsNoRecord) data_fatal("", failed);
  // A failed read for a previous record needs no such step: at the beginning the next record is the
  // first one anyway.
  if (walk.first == kIsNext)
    file.engine.behind_last = read_live(file, {kIsPrevious, kIsPrevious}) == 0;
  return kDataNotFound;
}

int read_secondary(DataFile& file, int key, bool lock) {
  state.kept = file.record;
  if (read_positioned(file, key, {kIsGreaterOrEqual, kIsNext}) != kDataDone) return kDataNotFound;
  if (!has_kept_value(file, key)) return kDataNotFound;
  switch (read(file, lock ? kIsCurrent | kIsLock : kIsCurrent)) {
    case 0:
      return kDataDone;
    case kIsLocked:
      pass_locked(file, file.record, kIsCurrent);
      return kDataLocked;
    case kIsUnfinished:
      return kDataUnfinished;
    case kIsNoCurrent:  // another process has deleted it between the two reads
      return kDataNotFound;
    default:
      fatal();
  }
}

// Stands at the first record whose key's first bytes are as the mode says, or between two records.
// Returns false if there is none.
bool start_by_part(DataFile& file, int key, int bytes, int mode) {
  if (key < 1 || key > file.definition.keys.key_count) data_fatal("", kIsBadKey);
  const int failed = ISSTART(file.engine.descriptor, isam_key(file.definition, key), bytes,
                             file.record.data(), mode) == 0
                         ? 0
                         : iserrno;
  if (failed != 0 && failed != kIsNoRecord) data_fatal("", failed);
  file.engine.selected_key = key;
  file.engine.behind_last = false;
  return failed == 0;
}

int change_result(const char* name, int failed) {
  if (failed == 0) return kDataDone;
  if (failed == kIsLocked) return kDataLocked;
  if (failed == kIsUnfinished) return kDataUnfinished;
  data_fatal(name, failed);
}

void clear(DataFile& file) {
  std::ranges::fill(file.record, '\0');
}

}  // namespace

KeyDescription isam_key(const FileDefinition& file, int key) {
  const KeyDefinition& defined = file.keys.keys[static_cast<std::size_t>(key - 1)];
  KeyDescription description{.flags = key == 1 ? std::int16_t{0} : kIsDuplicatesAllowed,
                             .part_count = static_cast<std::int16_t>(defined.segment_count)};
  std::ranges::transform(defined.segments, description.parts.begin(),
                         [](const KeySegment& segment) {
                           return KeyPart{.start = static_cast<std::int16_t>(segment.start),
                                          .length = static_cast<std::int16_t>(segment.length),
                                          .type = part_type(segment.type)};
                         });
  return description;
}

bool isam_is_half_made(const FileDefinition& file, const IsamInfo& info) {
  return info.record_length == file.record_length && info.record_count == 0 &&
         info.key_count < file.keys.key_count && keys_in_common(file, info) == info.key_count;
}

int isam_finish_making(const FileDefinition& file, const std::string& base) {
  const int descriptor = ISOPEN(base.c_str(), kIsInputOutput | kIsExclusive);
  if (descriptor < 0) return iserrno;
  IsamInfo info;
  int failed = isinfo(descriptor, info) == 0 ? 0 : iserrno;
  // Another process may have added the keys already.
  if (failed == 0 && isam_is_half_made(file, info))
    failed = add_further_keys(file, descriptor, info.key_count);
  return ISCLOSE(descriptor) != 0 && failed == 0 ? iserrno : failed;
}

bool isam_fits(const FileDefinition& file, const IsamInfo& info, std::string& reason) {
  const int same = keys_in_common(file, info);
  if (info.record_length != file.record_length) {
    reason = "its record length is " + std::to_string(info.record_length) +
             ", the definition has " + std::to_string(file.record_length);
  } else if (info.key_count != file.keys.key_count) {
    reason = "its number of keys is " + std::to_string(info.key_count) + ", the definition has " +
             std::to_string(file.keys.key_count);
  } else if (same != file.keys.key_count) {
    reason = "key " + std::to_string(same + 1) + " differs from its definition";
  } else {
    return true;
  }
  return false;
}

void make_isam(const DataFile& file, const std::string& base, bool& created) {
  set_current_operation("make_isam");
  if (const int failed = build(file, base, created)) data_fatal("make_isam", failed);
}

int is_open(DataFile& file, const std::string& base, bool& created, bool exclusive) {
  set_current_operation("is_open");
  const int mode =
      (file.read_only ? kIsReadOnly : kIsInputOutput) | (exclusive ? kIsExclusive : kIsManualLock);
  const int descriptor = open_for(file, base, mode, created);
  if (descriptor < 0 && iserrno == kIsFileLocked && !file.read_only) return kDataLocked;
  if (descriptor < 0) fatal(base.c_str());
  file.engine = EngineState{};
  file.engine.descriptor = descriptor;
  return kDataDone;
}

int is_write(DataFile& file) {
  begin(file, "is_write");
  marker(file) = kLive;
  bool rewrites = false;
  const int failed = record_write(file.engine.descriptor, file.record.data(), rewrites);
  return change_result(rewrites ? "rewrite" : "write", failed);
}

bool is_empty(const DataFile& file) {
  return iscount(file.engine.descriptor) == 0;
}

int is_rewrite(DataFile& file) {
  return is_write(file);
}

int is_del(DataFile& file) {
  begin(file, "is_del");
  return change_result("", record_delete(file.engine.descriptor, file.record.data()));
}

int is_read(DataFile& file, int key, bool lock) {
  begin(file, "is_read");
  select_key(file, key);
  if (key > 1) return read_secondary(file, key, lock);
  file.engine.behind_last = false;
  return read_primary(file, lock);
}

int is_exists(DataFile& file, int key) {
  state.whole = file.record;
  const int result = is_read(file, key, false);
  file.record = state.whole;
  return result;
}

int is_readgen(DataFile& file, int key) {
  begin(file, "is_readgen");
  return read_positioned(file, key, {kIsGreaterOrEqual, kIsNext});
}

int is_readfirst(DataFile& file, int key) {
  begin(file, "is_readfirst");
  clear(file);
  return read_positioned(file, key, {kIsFirst, kIsNext});
}

int is_readlast(DataFile& file, int key) {
  begin(file, "is_readlast");
  clear(file);
  return read_positioned(file, key, {kIsLast, kIsPrevious});
}

int is_readnext(DataFile& file, int key) {
  begin(file, "is_readnext");
  tell_ahead(file);
  return read_positioned(file, key, {kIsNext, kIsNext});
}

int is_readprev(DataFile& file, int key) {
  begin(file, "is_readprev");
  tell_ahead(file);
  return read_positioned(file, key, {kIsPrevious, kIsPrevious});
}

int is_read_from_part(DataFile& file, int key, int bytes) {
  begin(file, "is_readpart");
  const bool found = start_by_part(file, key, bytes, kIsGreaterOrEqual);
  return found ? read_positioned(file, key, {kIsCurrent, kIsNext}) : kDataNotFound;
}

int is_read_up_to_part(DataFile& file, int key, int bytes) {
  begin(file, "is_readpart");
  static_cast<void>(start_by_part(file, key, bytes, kIsGreater));  // behind them all
  return read_positioned(file, key, {kIsPrevious, kIsPrevious});
}

void is_keep_place(DataFile& file, IsamPlace& place) {
  begin(file, "is_keep_place");
  if (isposition(file.engine.descriptor, place.position) != 0) fatal();
  place.key = file.engine.selected_key;
  place.behind_last = file.engine.behind_last;
}

int is_return_to_place(DataFile& file, const IsamPlace& place) {
  begin(file, "is_return_to_place");
  if (isreturn(file.engine.descriptor, place.position) != 0) fatal();
  file.engine.selected_key = place.key;
  file.engine.behind_last = place.behind_last;
  const int failed = read(file, kIsCurrent);
  if (failed != 0 && failed != kIsNoCurrent) data_fatal("", failed);
  return failed == 0 && marker(file) == kLive ? kDataDone : kDataNotFound;
}

std::uint64_t is_changes(const DataFile& file) {
  begin(file, "is_changes");
  std::uint64_t changes = 0;
  if (ischanges(file.engine.descriptor, changes) != 0) fatal();
  return changes;
}

void is_read_ahead(DataFile& file, int records) {
  file.engine.walk_ahead = records;
}

int is_change_key(DataFile& file, int key) {
  begin(file, "is_change_key");
  if (key < 1 || key > file.definition.keys.key_count) data_fatal("", kIsBadKey);
  if (isselect(file.engine.descriptor, isam_key(file.definition, key)) != 0) {
    if (iserrno == kIsNoCurrent) return kDataNotFound;
    fatal();
  }
  file.engine.selected_key = key;
  file.engine.behind_last = false;
  return kDataDone;
}

void is_close(DataFile& file) {
  begin(file, "is_close");
  const int descriptor = std::exchange(file.engine, EngineState{}).descriptor;
  if (ISCLOSE(descriptor) != 0) fatal();
}

void is_flush_and_forget(DataFile& file) {
  begin(file, "is_flush");
  const int descriptor = std::exchange(file.engine, EngineState{}).descriptor;
  if (ISFLUSH(descriptor) != 0) fatal();
}

void is_release(DataFile& file) {
  begin(file, "is_release");
  if (ISRELEASE(file.engine.descriptor) != 0) fatal();
}

}  // namespace marigold::inner
