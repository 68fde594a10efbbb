// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/records/record_walk.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <sstream>
#include <utility>
#include <vector>

#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_file.h"
#include "tools/common/csv_rows.h"
#include "tools/common/input_file.h"
#include "tools/common/report.h"

namespace marigold::inner {
namespace {

// Puts the values of an option into a record; `count` is their number.
bool put_values(RecordText& text, const std::vector<Column>& columns, const std::string& values,
                std::string& record, std::size_t& count, std::string& reason) {
  count = 0;
  if (values.empty()) return true;
  std::istringstream input(values);
  CsvRows rows(input, kLongestLine);
  if (rows.next(reason) != CsvRows::Outcome::kRow) return false;
  if (rows.size() > columns.size()) {
    reason =
        counted(rows.size(), "value") + " for " + counted(columns.size(), "part") + " of the key";
    return false;
  }
  for (; count < rows.size(); ++count) {
    if (!text.put(columns[count], rows.cell(count), record.data(), reason)) return false;
  }
  return true;
}

std::string blank_record(const FileDefinition& file) {
  return std::string(static_cast<std::size_t>(file.record_length), '\0');
}

// ---- Keyed files, and random files of a cluster

template <typename Value>
int compare(Value a, Value b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

int compare_part(const KeyPart& part, const char* a, const char* b) {
  a += part.start;
  b += part.start;
  switch (part.type) {
    case kIsInt2:
      return compare(isld_int2(a), isld_int2(b));
    case kIsInt4:
      return compare(isld_int4(a), isld_int4(b));
    case kIsDouble:
      return compare(isld_double(a), isld_double(b));
    default:
      return std::memcmp(a, b, static_cast<std::size_t>(part.length));
  }
}

class KeyedWalk : public RecordWalk {
 public:
  KeyedWalk(const FileDefinition& file, const KeyDescription& key, std::vector<Column> columns)
      : key_(key),
        columns_(std::move(columns)),
        from_(blank_record(file)),
        to_(blank_record(file)) {}

  int open(const std::string& base) {
    return file_.open(base, kIsInput | kIsReadOnly | kIsManualLock);
  }
  [[nodiscard]] const OpenKeyedFile& file() const { return file_; }

  bool limit(RecordText& text, const WalkRange& range, std::string& reason) {
    return put_values(text, columns_, range.from, from_, from_parts_, reason) &&
           put_values(text, columns_, range.to, to_, to_parts_, reason);
  }

  int begin() {
    int length = 0;
    for (const KeyPart& part : std::span(key_.parts).first(from_parts_))
      length += part.length;
    const int mode = from_parts_ == 0 ? kIsFirst : kIsGreaterOrEqual;
    if (ISSTART(file_.number(), key_, length, from_.data(), mode) == 0) return 0;
    next_ = kIsNext;
    return iserrno == kIsNoRecord || iserrno == kIsEndOfFile ? 0 : iserrno;
  }

  Outcome next(char* record, std::string& reason) override;

 private:
  [[nodiscard]] bool is_behind_end(const char* record) const {
    for (const KeyPart& part : std::span(key_.parts).first(to_parts_)) {
      const int order = compare_part(part, record, to_.data());
      if (order != 0) return order > 0;
    }
    return false;
  }

  KeyDescription key_;
  std::vector<Column> columns_;  // of the key
  OpenKeyedFile file_;
  std::string from_;
  std::string to_;
  std::size_t from_parts_ = 0;
  std::size_t to_parts_ = 0;
  int next_ = kIsCurrent;
};

RecordWalk::Outcome KeyedWalk::next(char* record, std::string& reason) {
  for (;;) {
    int failed = ISREAD(file_.number(), record, next_) == 0 ? 0 : iserrno;
    // Another process may have deleted the record since it was found.
    if (failed == kIsNoCurrent && next_ == kIsCurrent)
      failed = ISREAD(file_.number(), record, kIsNext) == 0 ? 0 : iserrno;
    next_ = kIsNext;
    if (failed == kIsEndOfFile) return Outcome::kEnd;
    if (failed != 0) {
      reason = data_error(failed);
      return Outcome::kFailed;
    }
    if (is_behind_end(record)) return Outcome::kEnd;
    if (record[from_.size() - 1] == kLiveMarker) return Outcome::kRecord;
  }
}

// ---- Random files

class NumberedWalk : public RecordWalk {
 public:
  explicit NumberedWalk(const FileDefinition& file)
      : length_(static_cast<std::size_t>(file.record_length)) {}

  int open(DataTarget& target) { return file_.open(target, false); }
  bool limit(RecordText& text, const WalkRange& range, std::string& reason);
  Outcome next(char* record, std::string& reason) override;

 private:
  int read_more();

  std::size_t length_;
  OpenNumberedFile file_;
  std::int64_t number_ = 1;  // number of the next record
  std::int64_t last_ = std::numeric_limits<std::int32_t>::max();
  std::vector<char> ahead_;  // records from number_ on
  std::size_t used_ = 0;     // bytes of `ahead_` already returned
};

bool NumberedWalk::limit(RecordText& text, const WalkRange& range, std::string& reason) {
  const std::vector<Column> number = {text.columns().front()};
  std::string record = blank_record(text.file());
  std::size_t count = 0;
  if (!put_values(text, number, range.from, record, count, reason)) return false;
  if (count > 0) number_ = std::max(isld_int4(record.data()), 1);
  if (!put_values(text, number, range.to, record, count, reason)) return false;
  if (count > 0) last_ = isld_int4(record.data());
  return true;
}

int NumberedWalk::read_more() {
  constexpr std::size_t kAhead = std::size_t{1} << 18;
  ahead_.resize(std::max<std::size_t>(kAhead / length_, 1) * length_);
  used_ = 0;
  std::size_t count = 0;
  const int failed =
      file_.bytes().read(static_cast<std::uint64_t>(number_ - 1) * length_, ahead_, count);
  ahead_.resize(failed == 0 ? count / length_ * length_ : 0);
  return failed;
}

RecordWalk::Outcome NumberedWalk::next(char* record, std::string& reason) {
  while (number_ <= last_) {
    if (used_ == ahead_.size()) {
      if (const int failed = read_more()) {
        reason = data_error(failed);
        return Outcome::kFailed;
      }
      if (ahead_.empty()) return Outcome::kEnd;
    }
    const char* at = ahead_.data() + used_;
    used_ += length_;
    const bool live = at[length_ - 1] == kLiveMarker && isld_int4(at) == number_;
    ++number_;
    if (!live) continue;
    std::memcpy(record, at, length_);
    return Outcome::kRecord;
  }
  return Outcome::kEnd;
}

// ---- Opening

std::unique_ptr<RecordWalk> fail(std::string& problem, std::string reason) {
  problem = std::move(reason);
  return nullptr;
}

std::unique_ptr<RecordWalk> walk_numbered(DataTarget& target, RecordText& text,
                                          const WalkRange& range, std::string& problem) {
  auto walk = std::make_unique<NumberedWalk>(*target.definition);
  std::string reason;
  if (!walk->limit(text, range, reason)) return fail(problem, reason);
  if (const int failed = walk->open(target)) return fail(problem, data_error(target.base, failed));
  return walk;
}

std::unique_ptr<KeyedWalk> new_walk(const FileDefinition& file, RecordText& text, int key,
                                    std::string& problem) {
  if (file.type != FileType::kIsam)
    return std::make_unique<KeyedWalk>(file, random_key(), std::vector{text.columns().front()});
  if (key >= 1 && key <= file.keys.key_count)
    return std::make_unique<KeyedWalk>(
        file, isam_key(file, key),
        key_columns(file, file.keys.keys[static_cast<std::size_t>(key - 1)]));
  problem = std::string(file.name.view()) + ": there is no key " + std::to_string(key);
  return nullptr;
}

std::unique_ptr<RecordWalk> walk_keyed(const DataTarget& target, RecordText& text,
                                       const WalkRange& range, std::string& problem) {
  auto walk = new_walk(*target.definition, text, range.key, problem);
  if (walk == nullptr) return nullptr;
  std::string reason;
  if (!walk->limit(text, range, reason)) return fail(problem, reason);
  int failed = walk->open(target.table());
  if (failed != 0) return fail(problem, data_error(target.base, failed));
  if (!fits_definition(target, walk->file().number(), reason))
    return fail(problem, target.base + ": " + reason);
  failed = walk->begin();
  if (failed != 0) return fail(problem, data_error(target.base, failed));
  return walk;
}

}  // namespace

std::unique_ptr<RecordWalk> walk_records(DataTarget& target, RecordText& text,
                                         const WalkRange& range, std::string& problem) {
  return target.is_keyed() || target.in_cluster() ? walk_keyed(target, text, range, problem)
                                                  : walk_numbered(target, text, range, problem);
}

}  // namespace marigold::inner
