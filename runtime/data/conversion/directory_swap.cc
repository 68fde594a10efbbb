// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/directory_swap.h"

#include <algorithm>
#include <utility>

#include "runtime/data/access/version.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner {

int (*conversion_step_hook)(const char* step) = nullptr;

namespace {

constexpr const char* kRecord = ".ver";

bool exists(const std::string& path) {
  return file_exists(path.c_str());
}

}  // namespace

DirectorySwap::DirectorySwap(std::string base, FileType type) : FileSwap(std::move(base)) {
  if (type == FileType::kIsam) {
    suffixes_ = {".dat", ".idx"};
  } else {
    suffixes_ = {""};
  }
}

bool DirectorySwap::file_is_there() const {
  return std::ranges::any_of(suffixes_,
                             [this](const std::string& suffix) { return exists(base_ + suffix); });
}

bool DirectorySwap::has_leftovers() const {
  const auto any_beside = [this](const std::string& base) {
    return exists(base + kRecord) || std::ranges::any_of(suffixes_, [&](const std::string& suffix) {
             return exists(base + suffix);
           });
  };
  return any_beside(new_base()) || any_beside(old_base());
}

bool DirectorySwap::is_half_in_place() const {
  return exists(new_base() + kRecord) && !exists(new_base() + suffixes_.front());
}

std::string DirectorySwap::record_in_force() const {
  return (is_half_in_place() ? new_base() : base_) + kRecord;
}

int DirectorySwap::replace(const std::string& from, const std::string& to) {
  int failed = conversion_step("replace");
  if (failed == 0) failed = file_replace(from.c_str(), to.c_str());
  if (failed != 0) failed_path_ = to;
  return failed;
}

int DirectorySwap::remove(const std::string& path) {
  if (!exists(path)) return 0;
  int failed = conversion_step("remove");
  if (failed == 0) failed = file_remove(path.c_str());
  if (failed != 0) failed_path_ = path;
  return failed;
}

int DirectorySwap::recover() {
  if (is_half_in_place()) return bring_in();
  if (const int failed = discard()) return failed;
  // A second name of a file that was not replaced is no old file, and the run must not keep it as
  // one.
  const std::optional<double> old_version = version_read_record(old_base() + kRecord);
  const bool replaced = old_version && old_version != version_read_record(base_ + kRecord);
  return replaced ? 0 : remove_old();
}

// Removes the record first: without the record no run mistakes the rest for a whole new file.
int DirectorySwap::discard() {
  const std::string record = new_base() + kRecord;
  int failed = 0;
  if (exists(record)) {
    failed = remove(record);
    if (failed == 0) failed = file_sync_directory(record.c_str());
  }
  for (auto suffix = suffixes_.begin(); failed == 0 && suffix != suffixes_.end(); ++suffix)
    failed = remove(new_base() + *suffix);
  return failed;
}

// Links the old files under their second names. The record, written last, shows that all of them
// exist.
int DirectorySwap::link_old(double version) {
  if (const int failed = remove_old()) return failed;
  for (const std::string& suffix : suffixes_) {
    const std::string second = old_base() + suffix;
    int failed = conversion_step("link");
    if (failed == 0) failed = file_link((base_ + suffix).c_str(), second.c_str());
    if (failed == 0) continue;
    failed_path_ = second;
    return failed;
  }
  int failed = conversion_step("record of the old file");
  if (failed == 0) failed = version_write_record(old_base() + kRecord, version);
  if (failed != 0) failed_path_ = old_base() + kRecord;
  return failed;
}

// Moves the remaining new files into place, and the version record last.
int DirectorySwap::bring_in() {
  for (const std::string& suffix : suffixes_) {
    if (!exists(new_base() + suffix)) continue;
    if (const int failed = replace(new_base() + suffix, base_ + suffix)) return failed;
  }
  return replace(new_base() + kRecord, base_ + kRecord);
}

// Writes the record that shows that the new file is whole. The record gets the old file's
// permissions, because a conversion may run under a stricter mask than the programs: each reader of
// the old file must be able to read the new version.
int DirectorySwap::announce(double version) {
  const std::string record = new_base() + kRecord;
  int failed = conversion_step("record of the new file");
  if (failed == 0) failed = version_write_record(record, version, base_ + suffixes_.front());
  if (failed != 0) failed_path_ = record;
  return failed;
}

int DirectorySwap::put_in_place(double old_version, double new_version) {
  int failed = link_old(old_version);
  if (failed == 0) failed = announce(new_version);
  if (failed == 0) failed = bring_in();
  if (failed == 0 || is_half_in_place()) return failed;
  const std::string at_fault = failed_path_;
  discard();
  remove_old();
  failed_path_ = at_fault;
  return failed;
}

// Removes the record first, see finish.
int DirectorySwap::remove_old() {
  int failed = remove(old_base() + kRecord);
  for (auto suffix = suffixes_.begin(); failed == 0 && suffix != suffixes_.end(); ++suffix)
    failed = remove(old_base() + *suffix);
  return failed;
}

// Keeping moves the record last, and removing removes the record first. So a record with some of
// its files missing shows that keeping was interrupted, and files without a record show that
// removing was interrupted.
int DirectorySwap::finish(bool keep) {
  const std::string record = old_base() + kRecord;
  const std::optional<double> version = version_read_record(record);
  const bool all_there = std::ranges::all_of(
      suffixes_, [this](const std::string& suffix) { return exists(old_base() + suffix); });
  if (!version || (all_there && !keep)) return remove_old();
  for (const std::string& suffix : suffixes_) {
    if (!exists(old_base() + suffix)) continue;
    if (const int failed = replace(old_base() + suffix, kept_base(*version) + suffix))
      return failed;
  }
  return replace(record, kept_base(*version) + kRecord);
}

}  // namespace marigold::inner
