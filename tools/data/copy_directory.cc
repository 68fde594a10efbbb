// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

#include "runtime/core/new_files.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/file_swap.h"
#include "runtime/data/conversion/new_data_file.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/stop_signals.h"
#include "tools/backup/restore_swap.h"
#include "tools/data/copy_place.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

// A random file that gets its records in any order.
class PlacedFile : public NewDataFile {
 public:
  using NewDataFile::NewDataFile;

  int create(const std::string& base, const std::string& old_base) override {
    const int failed = bytes_.create(base.c_str(), NewFileAccess::kOwnerOnly);
    return failed == 0 ? bytes_.take_access(old_base.c_str()) : failed;
  }
  int write(const std::vector<char>& record, const std::vector<char>& /*old*/) override {
    const std::int32_t number = isld_int4(record.data());
    if (number < 1) return EINVAL;
    return bytes_.write(static_cast<std::uint64_t>(number - 1) * record.size(), record);
  }
  int write_deleted(const std::vector<char>& old) override { return write(old, old); }
  int flush() override { return 0; }
  int close() override {
    const int failed = bytes_.sync();
    bytes_.close();
    return failed;
  }

 private:
  RecordFile bytes_;
};

// A file of the destination that will be replaced.
struct HeldPlace {
  OpenKeyedFile keyed;
  OpenNumberedFile numbered;
};

class DirectoryPlace : public CopyPlace {
 public:
  explicit DirectoryPlace(const std::vector<DataTarget>& files) : files_(files) {}
  ~DirectoryPlace() override {
    file_.reset();
    for (const std::string& path : staged_)
      file_remove(path.c_str());
  }

  bool prepare(bool replace, Problems& problems) override;
  int begin(const DataTarget& file) override;
  int write(const char* record) override {
    std::copy_n(record, record_.size(), record_.begin());
    const int failed = file_->write(record_, none_);
    return failed == 0 && duplicate_ ? kIsDuplicate : failed;
  }
  int finish() override;
  bool put_in_place(const std::optional<double>& class_version, Problems& problems) override;

 private:
  static bool fail(Problems& problems, const std::string& problem) {
    problems.push_back(problem);
    return false;
  }
  static bool is_taken(const DataTarget& file);
  bool hold(const DataTarget& file, Problems& problems);
  bool stage_record(const std::string& path, double version, Problems& problems);
  // Notes that the file at `path` will be the one at `staged`, which the destructor removes.
  void stage(const std::string& path, const std::string& staged);

  StopSignalsHold hold_;
  const std::vector<DataTarget>& files_;
  ChangeTurns turns_;  // a set of changes must not come back over the copies
  std::vector<std::unique_ptr<HeldPlace>> held_;
  std::unique_ptr<NewDataFile> file_;
  std::string base_;  // of the file that is being made
  const DataTarget* target_ = nullptr;
  bool duplicate_ = false;
  std::vector<char> record_;
  std::vector<char> none_;
  RestoreSwap swap_{"copy"};
  std::vector<std::string> staged_;  // also files of which only a part is written
};

bool DirectoryPlace::is_taken(const DataTarget& file) {
  const auto exists = [&](const char* suffix) { return file_exists((file.base + suffix).c_str()); };
  return file.is_keyed() ? exists(".dat") || exists(".idx") : exists("");
}

// A damaged file cannot be held, and no process can use it.
bool DirectoryPlace::hold(const DataTarget& file, Problems& problems) {
  held_.push_back(std::make_unique<HeldPlace>());
  HeldPlace& held = *held_.back();
  int failed = 0;
  if (file.is_keyed()) {
    failed = held.keyed.open(file.base, kIsInputOutput | kIsExclusive);
    if (failed == kIsBadFile) failed = 0;
    held.keyed.retire();
  } else {
    failed = held.numbered.open(file, true);
  }
  return failed == 0 || failed == ENOENT || fail(problems, data_error(file.base, failed));
}

bool DirectoryPlace::prepare(bool replace, Problems& problems) {
  const std::string directory(path_directory(files_.front().base));
  if (const int failed = file_make_directory(directory.empty() ? "." : directory.c_str()))
    return fail(problems, file_error(directory, failed));
  if (!recover_restore(directory, problems)) return false;
  std::vector<const DataTarget*> taken;
  for (const DataTarget& file : files_) {
    if (FileSwap::of(file.base, file.definition->type)->has_leftovers())
      return fail(problems, file.base + ": " + kLeftByConversion);
    if (!is_taken(file)) continue;
    if (!replace) return fail(problems, place_taken(file));
    taken.push_back(&file);
  }
  std::string problem;
  if (!taken.empty() && !take_change_turns(taken, turns_, problem)) return fail(problems, problem);
  if (!std::ranges::all_of(taken, [&](const auto* file) { return hold(*file, problems); }))
    return false;
  return taken.empty() || turns_.kept_all_away() ||
         fail(problems, taken.front()->base + kChangesBegan);
}

void DirectoryPlace::stage(const std::string& path, const std::string& staged) {
  swap_.add(path, staged);
  std::erase(staged_, staged);  // the swap's task now
}

int DirectoryPlace::begin(const DataTarget& file) {
  target_ = &file;
  for (const std::string& left : abandoned_of(file.base))
    static_cast<void>(file_remove(left.c_str()));  // may stay: it is in no one's way
  base_ = new_file_name(file.base);
  for (const char* suffix : {"", ".dat", ".idx"})
    staged_.push_back(base_ + suffix);
  record_.resize(static_cast<std::size_t>(file.definition->record_length));
  if (file.is_keyed()) {
    file_ = NewDataFile::of(*file.definition, base_);
  } else {
    file_ = std::make_unique<PlacedFile>(*file.definition);
  }
  file_->on_duplicate = [this](const auto&) { duplicate_ = true; };
  return file_->create(base_, file.base);
}

int DirectoryPlace::finish() {
  int failed = file_->flush();
  if (failed == 0) failed = file_->close();
  file_.reset();
  if (failed != 0) return failed;
  for (const char* suffix : {"", ".dat", ".idx"}) {
    const bool has = target_->is_keyed() != std::string_view(suffix).empty();
    if (has) stage(target_->base + suffix, base_ + suffix);
  }
  return 0;
}

bool DirectoryPlace::stage_record(const std::string& path, double version, Problems& problems) {
  const std::string staged = new_file_name(path);
  FileWriter file;
  staged_.push_back(staged);
  int failed = file.make(staged.c_str());
  if (failed == 0) failed = file.write(version_record_text(version));
  if (failed == 0 && file_exists(path.c_str())) failed = file.take_access(path.c_str());
  if (failed == 0) failed = file.sync();
  if (failed == 0) failed = file.close();
  if (failed != 0) return fail(problems, file_error(path, failed));
  stage(path, staged);
  return true;
}

bool DirectoryPlace::put_in_place(const std::optional<double>& class_version, Problems& problems) {
  for (const DataTarget& file : files_) {
    const auto version = static_cast<double>(file.definition->version);
    if (!stage_record(version_file_record(file.base), version, problems)) return false;
  }
  const std::string record = data_path_in(data_path_directory(files_.front().base), kClassRecord);
  if (class_version && !stage_record(record, *class_version, problems)) return false;
  return swap_.run(problems);
}

}  // namespace

std::unique_ptr<CopyPlace> new_copy_directory(const std::vector<DataTarget>& files) {
  return std::make_unique<DirectoryPlace>(files);
}

}  // namespace marigold::inner
