// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/data/copy_source.h"

#include <algorithm>

#include "runtime/core/new_files.h"
#include "runtime/platform/record_file.h"
#include "tools/common/progress.h"
#include "tools/records/scratch_directory.h"
#include "tools/records/snapshot_copy.h"

namespace marigold::inner {
namespace {

constexpr char kDeletedMarker = 1;  // of a random file's record, or a placeholder

// ---- Records of the engine's snapshots

class SnapshotRecords : public CopiedRecords {
 public:
  SnapshotRecords(int number, const FileDefinition& file)
      : number_(number),
        last_(static_cast<std::size_t>(file.record_length - 1)),
        keyed_(file.type == FileType::kIsam) {}

  Outcome next(char* record, std::string& reason) override {
    do {
      if (issnapshot_read(number_, record) == 0) continue;
      if (iserrno == kIsEndOfFile) return Outcome::kEnd;
      reason = data_error(iserrno);
      return Outcome::kFailed;
    } while (keyed_ && record[last_] == kDeletedMarker);
    return Outcome::kRecord;
  }
  [[nodiscard]] std::int64_t count() const override { return issnapshot_count(number_); }

 private:
  int number_;
  std::size_t last_;
  bool keyed_;
};

// ---- A random file of a directory

class PlacedRecords : public CopiedRecords {
 public:
  explicit PlacedRecords(const FileDefinition& file)
      : length_(static_cast<std::size_t>(file.record_length)) {}

  int open(const std::string& path) {
    if (const int failed = file_.open(path.c_str(), false)) return failed;
    return file_.size(size_);
  }
  Outcome next(char* record, std::string& reason) override;
  [[nodiscard]] std::int64_t count() const override {
    return static_cast<std::int64_t>(size_ / length_);
  }

 private:
  int read_more();
  bool take(char* record, bool& holds_one, std::string& reason) const;

  std::size_t length_;
  RecordFile file_;
  std::uint64_t size_ = 0;
  std::vector<char> ahead_;
  std::size_t used_ = 0;     // bytes of `ahead_`
  std::int64_t number_ = 0;  // of the last record taken
};

int PlacedRecords::read_more() {
  constexpr std::size_t kAhead = std::size_t{1} << 18;
  ahead_.resize(std::max<std::size_t>(kAhead / length_, 1) * length_);
  used_ = 0;
  std::size_t count = 0;
  const int failed = file_.read(static_cast<std::uint64_t>(number_) * length_, ahead_, count);
  ahead_.resize(failed == 0 ? count : 0);
  return failed;
}

// A place that programs jumped over has no number. Any other place without its own number is damage,
// and what it was to hold is not for a copy to decide.
bool PlacedRecords::take(char* record, bool& holds_one, std::string& reason) const {
  const std::int32_t stored = isld_int4(record);
  const char marker = record[length_ - 1];
  holds_one = marker == kDeletedMarker || stored != 0;
  if (marker == kDeletedMarker) isst_int4(static_cast<std::int32_t>(number_), record);
  const bool sound =
      marker == kDeletedMarker || (marker == kLiveMarker && (stored == number_ || stored == 0));
  if (!sound)
    reason =
        "record " + std::to_string(number_) + " is damaged; \"marigold data check\" reports how";
  return sound;
}

CopiedRecords::Outcome PlacedRecords::next(char* record, std::string& reason) {
  for (;;) {
    if (used_ == ahead_.size()) {
      if (const int failed = read_more()) {
        reason = data_error(failed);
        return Outcome::kFailed;
      }
      if (ahead_.empty()) return Outcome::kEnd;
    }
    if (ahead_.size() - used_ < length_) {
      reason = "it ends within a record; \"marigold data check\" reports where";
      return Outcome::kFailed;
    }
    std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(used_), length_, record);
    used_ += length_;
    ++number_;
    bool holds_one = false;
    if (!take(record, holds_one, reason)) return Outcome::kFailed;
    if (holds_one) return Outcome::kRecord;
  }
}

// ---- Directories

class DirectorySource : public CopySource {
 public:
  bool open(std::vector<DataTarget>& targets, std::string& problem) {
    if (!scratch_.make(problem)) return false;
    for (DataTarget& target : targets) {
      files_.push_back(std::make_unique<SnapshotFile>(target));
      if (!files_.back()->open(problem)) return false;
    }
    Progress progress(targets.front().base);
    std::string moment;
    const auto copy = [this](const DataTarget& target) { return copy_of(target); };
    return take_moment(files_, copy, progress, moment, problem) == MomentOutcome::kTaken;
  }

  std::unique_ptr<CopiedRecords> records(std::size_t number) override {
    const SnapshotFile& file = *files_[number];
    const FileDefinition& definition = *file.target().definition;
    if (file.is_keyed()) return std::make_unique<SnapshotRecords>(file.number(), definition);
    auto placed = std::make_unique<PlacedRecords>(definition);
    return placed->open(copy_of(file.target())) == 0 ? std::move(placed) : nullptr;
  }

 private:
  [[nodiscard]] std::string copy_of(const DataTarget& target) const {
    return scratch_.path_of(std::string(target.definition->name.view()));
  }

  ScratchDirectory scratch_;  // copies of the random files
  std::vector<std::unique_ptr<SnapshotFile>> files_;
};

// ---- Schemas of a cluster

class SchemaSource : public CopySource {
 public:
  bool open(std::vector<DataTarget>& targets, std::string& problem) {
    std::vector<int> numbers;
    for (const DataTarget& target : targets) {
      OpenKeyedFile& file = files_.emplace_back();
      if (const int failed = file.open(target.table(), kIsInput | kIsReadOnly | kIsManualLock)) {
        problem = data_error(target.base, failed);
        return false;
      }
      std::string reason;
      if (!check_version(target, reason) || !fits_definition(target, file.number(), reason)) {
        problem = target.base + ": " + reason;
        return false;
      }
      numbers.push_back(file.number());
      definitions_.push_back(target.definition.get());
    }
    if (issnapshot(numbers) == 0) return true;
    problem = data_error(targets.front().base, iserrno);
    return false;
  }

  std::unique_ptr<CopiedRecords> records(std::size_t number) override {
    return std::make_unique<SnapshotRecords>(files_[number].number(), *definitions_[number]);
  }

 private:
  std::vector<OpenKeyedFile> files_;
  std::vector<const FileDefinition*> definitions_;
};

template <typename Source>
std::unique_ptr<CopySource> opened(std::vector<DataTarget>& files, std::string& problem) {
  auto source = std::make_unique<Source>();
  if (!source->open(files, problem)) return nullptr;
  return source;
}

}  // namespace

std::unique_ptr<CopySource> open_copy_source(std::vector<DataTarget>& files, std::string& problem) {
  return files.front().in_cluster() ? opened<SchemaSource>(files, problem)
                                    : opened<DirectorySource>(files, problem);
}

}  // namespace marigold::inner
