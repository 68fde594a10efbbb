// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/conversion_copy.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_store.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr std::uint64_t kWatchedEvery = 1024;  // records
constexpr std::size_t kShownMisfits = 20;

bool is_keyed(const FileDefinition& definition) {
  return definition.type == FileType::kIsam;
}

int isam_error(int result) {
  return result < 0 ? iserrno : 0;
}

std::string misfit_text(const FileDefinition& file, const char* record, const Misfit& misfit,
                        const char* converted) {
  std::string name(misfit.from->name.view());
  if (misfit.from->times > 1) name.append(" ").append(std::to_string(misfit.element));
  return record_text(file, record) + ": " + name + ": " +
         element_text(*misfit.from, misfit.element, converted) + " does not fit " +
         field_type_text(*misfit.to);
}

// Converts one record through all definitions on the way.
class RecordWay {
 public:
  explicit RecordWay(std::span<const RecordMapping> steps) : steps_(steps) {}

  // Returns false with the text of the misfit. record() returns the result.
  bool go(const std::vector<char>& old, bool& cut, std::string& reason) {
    record_ = old;
    for (const RecordMapping& step : steps_) {
      Misfit misfit;
      if (!step.convert(record_.data(), next_, cut, misfit)) {
        reason = misfit_text(steps_.front().from(), old.data(), misfit, record_.data());
        return false;
      }
      std::swap(record_, next_);
    }
    return true;
  }
  [[nodiscard]] const std::vector<char>& record() const { return record_; }

 private:
  std::span<const RecordMapping> steps_;
  std::vector<char> record_;
  std::vector<char> next_;
};

void note_misfit(CopyResult& result, std::string text) {
  if (++result.misfits <= kShownMisfits) result.misfit_texts.push_back(std::move(text));
}

// Converts and writes one live record.
int copy_record(NewDataFile& to, RecordWay& way, const std::vector<char>& old, CopyResult& result) {
  bool cut = false;
  std::string reason;
  if (!way.go(old, cut, reason)) {
    note_misfit(result, std::move(reason));
    return 0;
  }
  ++result.records;
  if (cut) ++result.cut;
  return to.write(way.record(), old);
}

}  // namespace

std::string error_number_text(int number) {
  if (number == EINTR) return "stopped by a signal";
  if (number == kIsFileLocked) return "in use by another process";
  if (number == kIsBadFile) return "damaged, or no data file (EBADFILE)";
  std::string reason = engine_reason(number);
  if (number >= kIsServer && !reason.empty()) return reason;
  const std::string of_engine = iserror_name(number);
  return of_engine.empty() ? system_error_text(number) : of_engine;
}

// ---- Old files

int OldFile::open(const FileDefinition& definition, const std::string& base, std::string& reason) {
  definition_ = &definition;
  passed_ = 0;
  if (is_keyed(definition)) return open_keyed(base, reason);
  return is_cluster_address(base) ? open_table(base, reason) : open_numbered(base, reason);
}

int OldFile::open_keyed(const std::string& base, std::string& reason) {
  descriptor_ = ISOPEN(base.c_str(), kIsInputOutput | kIsExclusive);
  if (descriptor_ < 0) return iserrno;
  IsamInfo info;
  if (isinfo(descriptor_, info) != 0) return iserrno;
  if (isam_is_half_made(*definition_, info)) {
    close();
    if (const int failed = isam_finish_making(*definition_, base)) return failed;
    return open_keyed(base, reason);
  }
  if (!isam_fits(*definition_, info, reason)) return kIsBadFile;
  count_ = static_cast<std::uint64_t>(info.record_count);
  return 0;
}

int OldFile::open_numbered(const std::string& path, std::string& reason) {
  if (const int failed = bytes_.open(path.c_str(), true)) return failed;
  int failed = bytes_.lock(kRandomFileLock, 1, true);
  if (failed == 0 && !bytes_.is_still_at(path.c_str())) failed = EAGAIN;  // just replaced
  std::uint64_t size = 0;
  if (failed == 0) failed = bytes_.size(size);
  if (failed != 0) return failed == EAGAIN ? kIsFileLocked : failed;
  const auto length = static_cast<std::uint64_t>(definition_->record_length);
  count_ = size / length;
  if (size % length == 0) return 0;
  reason = "its size, " + std::to_string(size) + ", is no multiple of the record length, " +
           std::to_string(length);
  return kIsBadFile;
}

int OldFile::open_table(const std::string& path, std::string& reason) {
  descriptor_ = ISOPEN(random_table(path).c_str(), kIsInputOutput | kIsExclusive);
  if (descriptor_ < 0) return iserrno;
  if (const int failed = random_check(descriptor_, definition_->record_length, reason))
    return failed;
  const std::int64_t records = iscount(descriptor_);
  count_ = static_cast<std::uint64_t>(records);
  return records < 0 ? iserrno : 0;
}

void OldFile::close() {
  if (descriptor_ >= 0) ISCLOSE(descriptor_);  // nothing was written
  descriptor_ = -1;
  bytes_.close();
}

void OldFile::retire() {
  if (descriptor_ >= 0) isretire(descriptor_);  // nothing was written
}

int OldFile::next(std::vector<char>& record, bool& live) {
  record.resize(static_cast<std::size_t>(definition_->record_length));
  if (descriptor_ >= 0) {
    const int mode = passed_++ == 0 ? kIsFirst : kIsNext;
    const int failed = isam_error(ISREAD(descriptor_, record.data(), mode));
    live = failed == 0 && record.back() == kLiveRecord;
    return failed == kIsNoRecord ? kIsEndOfFile : failed;
  }
  if (passed_ == count_) return kIsEndOfFile;
  std::size_t length = 0;
  const int failed = bytes_.read(passed_ * record.size(), record, length);
  if (failed == 0 && length != record.size()) return EIO;
  ++passed_;
  live = failed == 0 && record.back() == kLiveRecord &&
         static_cast<std::uint64_t>(isld_int4(record.data())) == passed_;
  return failed;
}

int copy_records(OldFile& from, NewDataFile& to, std::span<const RecordMapping> steps,
                 const CopyWatch& watch, CopyResult& result) {
  RecordWay way(steps);
  to.on_duplicate = [&](const std::vector<char>& old) {
    note_misfit(result, record_text(steps.front().from(), old.data()) +
                            ": another record gets the same primary key");
  };
  std::vector<char> record;
  for (std::uint64_t passed = 0;; ++passed) {
    if (passed % kWatchedEvery == 0 && !watch(passed)) return EINTR;
    bool live = false;
    int failed = from.next(record, live);
    if (failed == kIsEndOfFile) return to.flush();
    if (failed == 0)
      failed = live ? copy_record(to, way, record, result) : to.write_deleted(record);
    if (failed != 0) return failed;
  }
}

}  // namespace marigold::inner
