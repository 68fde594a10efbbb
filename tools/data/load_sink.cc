// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/data/load_sink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <span>
#include <unordered_set>
#include <vector>

#include "runtime/core/new_files.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_file.h"
#include "runtime/data/access/version.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/stop_signals.h"
#include "tools/data/load_parts.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

bool holds_version(const DataTarget& target, std::string& problem) {
  std::string reason;
  if (check_version(target, reason)) return true;
  problem = target.base + ": " + reason;
  return false;
}

// The files that replace the old ones, with their version record. The version record is installed
// first: without the other files it does no harm.
class FreshFiles {
 public:
  explicit FreshFiles(const DataTarget& target) : target_(target), files_(target.base) {}
  void add(std::string_view suffix) { files_.add(suffix); }
  [[nodiscard]] const std::string& path() const { return files_.temporary_path(); }

  bool begin(std::string& problem) {
    if (!files_.make(".ver", version_, problem)) return false;
    const int failed = version_.write(version_text(target_.definition->version) + "\n");
    return failed == 0 || fail_load(problem, target_.base, failed);
  }
  bool put_in_place(std::string& problem) {
    return files_.finish(".ver", version_, problem) && files_.put_in_place(problem);
  }

 private:
  const DataTarget& target_;
  NewFiles files_;
  FileWriter version_;
};

// ---- A keyed file without records

class FreshKeyed : public LoadSink {
 public:
  FreshKeyed(const DataTarget& target, OpenKeyedFile old_pair)
      : target_(target), old_pair_(target, std::move(old_pair)), files_(target) {}

  bool begin(std::string& problem) {
    if (!old_pair_.make_if_missing(problem) || !files_.begin(problem)) return false;
    files_.add(".dat");
    files_.add(".idx");
    const int failed = file_.build_like(*target_.definition, files_.path(), target_.base);
    return failed == 0 || fail_load(problem, target_.base, failed);
  }

  Added add(char* record, std::string& problem) override {
    if (asked_to_stop(loaded)) {
      fail_load(problem, target_.base, EINTR);
      return Added::kFailed;
    }
    if (ISWRITE(file_.number(), record) == 0) {
      ++loaded;
      return Added::kTaken;
    }
    if (iserrno == kIsDuplicate) return Added::kComesTwice;
    fail_load(problem, target_.base, iserrno);
    return Added::kFailed;
  }

  bool commit(std::string& problem) override {
    const int failed = file_.close();
    if (failed != 0) return fail_load(problem, target_.base, failed);
    old_pair_.retire();
    if (!files_.put_in_place(problem)) return false;
    old_pair_.keep();
    return true;
  }

 private:
  StopSignalsHold hold_;
  const DataTarget& target_;
  HeldFile old_pair_;
  FreshFiles files_;
  OpenKeyedFile file_;
};

// ---- Random files

class Numbered : public LoadSink {
 public:
  Numbered(DataTarget& target, const LoadRules& rules)
      : target_(target),
        rules_(rules),
        length_(static_cast<std::uint64_t>(target.definition->record_length)),
        files_(target) {}

  bool begin(std::string& problem);
  Added add(char* record, std::string& problem) override;
  bool commit(std::string& problem) override;
  ~Numbered() override {
    if (made_) file_remove(target_.base.c_str());
  }

 private:
  int hold_place();
  int copy_old();
  int add(char* record, Added& added);

  DataTarget& target_;
  LoadRules rules_;
  std::uint64_t length_;
  // The file that the copy replaces, or the empty one made for a missing file. See HeldFile.
  OpenNumberedFile old_;
  RecordFile held_;
  bool made_ = false;
  FreshFiles files_;
  RecordFile copy_;
  std::int64_t last_ = 0;  // greatest number so far
  std::unordered_set<std::int64_t> numbers_;
};

int Numbered::copy_old() {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  std::vector<char> piece(kPiece);
  std::uint64_t at = 0;
  for (std::size_t count = 0;; at += count) {
    if (const int failed = old_.bytes().read(at, piece, count)) return failed;
    if (count == 0) break;
    if (const int failed = copy_.write(at, std::span(piece).first(count))) return failed;
    if (stop_signals_pending()) return EINTR;
  }
  last_ = static_cast<std::int64_t>(at / length_);
  return 0;
}

// Makes the missing file and locks it before another process does.
int Numbered::hold_place() {
  const char* path = target_.base.c_str();
  const int failed = held_.create(path);
  if (failed != 0) return failed == EEXIST ? kIsFileLocked : failed;
  made_ = true;
  const int locked = held_.lock(kRandomFileLock, 1, true);
  if (locked == 0 && held_.is_still_at(path)) return 0;
  made_ = false;  // another process has made it
  return locked == 0 || locked == EAGAIN ? kIsFileLocked : locked;
}

bool Numbered::begin(std::string& problem) {
  int failed = old_.open(target_, true);
  const bool exists = failed != ENOENT;
  if (!exists) failed = make_data_directory(target_, problem) ? hold_place() : ENOENT;
  if (failed != 0) return problem.empty() ? fail_load(problem, target_.base, failed) : false;
  if (exists && !holds_version(target_, problem)) return false;
  if (!files_.begin(problem)) return false;
  files_.add("");
  const char* path = files_.path().c_str();
  failed = copy_.create(path, NewFileAccess::kOwnerOnly);
  if (failed == 0) failed = copy_.lock(kRandomFileLock, 1, true);
  if (failed == 0) failed = copy_.take_access(target_.base.c_str());
  if (failed == 0 && exists) failed = copy_old();
  return failed == 0 || fail_load(problem, target_.base, failed);
}

bool Numbered::commit(std::string& problem) {
  const int failed = copy_.sync();
  copy_.close();
  if (failed != 0) return fail_load(problem, target_.base, failed);
  if (!files_.put_in_place(problem)) return false;
  made_ = false;
  return true;
}

int Numbered::add(char* record, Added& added) {
  std::int64_t number = isld_int4(record);
  if (number < 1) number = last_ + 1;
  if (number > std::numeric_limits<std::int32_t>::max()) return EFBIG;
  isst_int4(static_cast<std::int32_t>(number), record);
  const std::uint64_t place = static_cast<std::uint64_t>(number - 1) * length_;
  std::vector<char> old_record(length_);
  std::size_t count = 0;
  if (const int failed = copy_.read(place, old_record, count)) return failed;
  const bool live = count == length_ && old_record.back() == kLiveMarker &&
                    isld_int4(old_record.data()) == number;
  const bool fresh = numbers_.insert(number).second;
  // A mistyped number would make a file of gigabytes.
  const bool far = number > last_ + kFarBeyond && !rules_.far_beyond;
  added = !fresh                    ? Added::kComesTwice
          : live && !rules_.replace ? Added::kExists
          : far                     ? Added::kTooFar
                                    : Added::kTaken;
  if (added != Added::kTaken) return 0;
  last_ = std::max(last_, number);
  ++loaded;
  replaced += live ? 1 : 0;
  return copy_.write(place, std::span(record, length_));
}

LoadSink::Added Numbered::add(char* record, std::string& problem) {
  Added added = Added::kFailed;
  const int failed = asked_to_stop(loaded) ? EINTR : add(record, added);
  if (failed == 0) return added;
  fail_load(problem, target_.base, failed);
  return Added::kFailed;
}

// ---- Choice of the sink

std::unique_ptr<LoadSink> open_numbered(DataTarget& target, const LoadRules& rules,
                                        std::string& problem) {
  auto numbered = std::make_unique<Numbered>(target, rules);
  if (!numbered->begin(problem)) return nullptr;
  return numbered;
}

std::unique_ptr<LoadSink> make_keyed(const DataTarget& target, OpenKeyedFile old_pair,
                                     std::string& problem) {
  if (target.in_cluster()) return open_new_table(target, std::move(old_pair), problem);
  auto fresh = std::make_unique<FreshKeyed>(target, std::move(old_pair));
  if (!fresh->begin(problem)) return nullptr;
  return fresh;
}

std::unique_ptr<LoadSink> open_keyed(DataTarget& target, const LoadRules& rules,
                                     std::string& problem) {
  OpenKeyedFile file;
  IsamInfo info;
  ChangeTurns turns;  // until no set can have the file any more
  if (!take_change_turns({&target}, turns, problem)) return nullptr;
  int failed = file.open(target.base, kIsInputOutput | kIsExclusive);
  if (!turns.kept_all_away()) {
    problem = target.base + kChangesBegan;
    return nullptr;
  }
  if (failed == ENOENT) return make_keyed(target, std::move(file), problem);
  if (failed == 0) failed = file.info(info);
  if (failed != 0) {
    problem = data_error(target.base, failed);
    return nullptr;
  }
  if (!holds_version(target, problem)) return nullptr;
  std::string reason;
  if (!isam_is_half_made(*target.definition, info) &&
      !isam_fits(*target.definition, info, reason)) {
    problem = target.base + ": " + reason;
    return nullptr;
  }
  if (info.record_count == 0) return make_keyed(target, std::move(file), problem);
  return std::make_unique<GrownFile>(target, std::move(file), rules.replace);
}

}  // namespace

std::unique_ptr<LoadSink> open_load_sink(DataTarget& target, const LoadRules& rules,
                                         std::string& problem) {
  if (target.is_keyed()) return open_keyed(target, rules, problem);
  if (target.in_cluster()) return open_numbered_table(target, rules, problem);
  return open_numbered(target, rules, problem);
}

}  // namespace marigold::inner
