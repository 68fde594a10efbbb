// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/data/load_parts.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#include "runtime/data/access/data_path.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_file.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner {

bool fail_load(std::string& problem, const std::string& path, int number) {
  problem = data_error(path, number);
  return false;
}

bool asked_to_stop(std::int64_t records) {
  constexpr std::int64_t kSeldom = 256;
  return records % kSeldom == 0 && stop_signals_pending();
}

bool make_data_directory(const DataTarget& target, std::string& problem) {
  if (target.in_cluster()) return true;  // the first file makes the schema
  const int failed = data_make_directory(target.handle());
  return failed == 0 || fail_load(problem, target.base, failed);
}

std::string key_bytes(const KeyDescription& key, const char* record) {
  std::string bytes;
  for (const KeyPart& part : std::span(key.parts).first(static_cast<std::size_t>(key.part_count)))
    bytes.append(record + part.start, static_cast<std::size_t>(part.length));
  return bytes;
}

// ---- A file that is held

HeldFile::~HeldFile() {
  if (!made_) return;
  file_.retire();
  if (target_.in_cluster()) {
    const IsExchange remove{.kind = IsExchange::Kind::kRemove, .from = target_.table()};
    static_cast<void>(isexchange({&remove, 1}));
    return;
  }
  for (const char* suffix : {".dat", ".idx"})
    file_remove((target_.base + suffix).c_str());
}

bool HeldFile::make_if_missing(std::string& problem) {
  if (file_.is_open()) return true;
  if (!make_data_directory(target_, problem)) return false;
  const int failed = file_.build(*target_.definition, target_.table());
  made_ = file_.is_open();  // also when a key is missing
  if (failed != EEXIST) return failed == 0 || fail_load(problem, target_.base, failed);
  problem =
      target_.in_cluster() ? data_error(target_.base, kIsFileLocked) : half_pair_text(target_);
  return false;
}

// ---- A file with records

GrownFile::GrownFile(const DataTarget& target, OpenKeyedFile file, bool replace)
    : target_(target),
      replace_(replace),
      length_(static_cast<std::size_t>(target.definition->record_length)),
      key_(target.is_keyed() ? isam_key(*target.definition, 1) : random_key()),
      held_(target, std::move(file)),
      scratch_(length_) {}

int GrownFile::look(const char* record, bool& exists) {
  std::memcpy(scratch_.data(), record, length_);
  exists = ISREAD(descriptor(), scratch_.data(), kIsEqual) == 0;
  return exists || iserrno == kIsNoRecord ? 0 : iserrno;
}

LoadSink::Added GrownFile::add(char* record, std::string& problem) {
  bool exists = false;
  const int failed = asked_to_stop(loaded) ? EINTR : look(record, exists);
  if (failed != 0) {
    fail_load(problem, target_.base, failed);
    return Added::kFailed;
  }
  // A placeholder is no record.
  const bool live = exists && scratch_.back() == kLiveMarker;
  if (live && !replace_) return Added::kExists;
  if (!keys_.insert(key_bytes(key_, record)).second) return Added::kComesTwice;
  records_.insert(records_.end(), record, record + length_);
  replaces_.push_back(exists);
  ++loaded;
  replaced += live ? 1 : 0;
  return Added::kTaken;
}

int GrownFile::write(std::size_t number) {
  const char* record = record_at(number);
  if (!replaces_[number]) return ISWRITE(descriptor(), record) == 0 ? 0 : iserrno;
  bool exists = false;
  if (const int failed = look(record, exists)) return failed;
  if (ISREPLACE(descriptor(), record) != 0) return iserrno;
  old_records_.insert(old_records_.end(), scratch_.begin(), scratch_.end());
  return 0;
}

int GrownFile::take_back(std::size_t number) {
  if (!replaces_[number]) return ISDELETE(descriptor(), record_at(number)) == 0 ? 0 : iserrno;
  const char* old_record = old_records_.data() + old_records_.size() - length_;
  if (ISREPLACE(descriptor(), old_record) != 0) return iserrno;
  old_records_.resize(old_records_.size() - length_);
  return 0;
}

bool GrownFile::take_all_back(std::size_t written, std::string& problem) {
  while (written > 0) {
    if (const int failed = take_back(written - 1)) {
      problem +=
          "; " + counted(written, "record") + " could not be taken back: " + data_error(failed);
      return false;
    }
    --written;
  }
  return true;
}

int GrownFile::load_all() {
  std::size_t next = 0;
  const auto take = [&](char* record) {
    if (next == replaces_.size()) return false;
    std::memcpy(record, record_at(next++), length_);
    return true;
  };
  if (isload(descriptor(), take, [](std::uint64_t) { return !stop_signals_pending(); }) != 0)
    return iserrno;
  return ISFLUSH(descriptor()) == 0 ? 0 : iserrno;
}

bool GrownFile::commit(std::string& problem) {
  const bool all_new = std::ranges::find(replaces_, true) == replaces_.end();
  if (!target_.in_cluster() || !all_new) {
    if (!commit_one_by_one(problem)) return false;
  } else if (const int failed = load_all()) {
    return fail_load(problem, target_.base, failed);
  }
  held_.keep();
  return true;
}

bool GrownFile::commit_one_by_one(std::string& problem) {
  std::size_t written = 0;
  int failed = 0;
  while (failed == 0 && written < replaces_.size()) {
    failed = asked_to_stop(static_cast<std::int64_t>(written)) ? EINTR : write(written);
    if (failed == 0) ++written;
  }
  if (failed == 0 && ISFLUSH(descriptor()) != 0) failed = iserrno;
  if (failed == 0) failed = stop_signals_pending() ? EINTR : 0;
  if (failed == 0) return true;
  fail_load(problem, target_.base, failed);
  if (take_all_back(written, problem)) give_back_space();
  return false;
}

// Returns the space of records that were taken back, since the disk may be full. If another process
// has opened the file meanwhile, it uses that space again.
void GrownFile::give_back_space() {
  IsRebuildReport ignored;
  if (!target_.in_cluster() && held_.file().close() == 0)
    static_cast<void>(isrebuild(target_.base.c_str(), ignored));
}

}  // namespace marigold::inner
