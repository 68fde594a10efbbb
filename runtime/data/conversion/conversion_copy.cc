// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/conversion_copy.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_file.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr char kLive = 0;
constexpr char kDeleted = 1;
constexpr std::size_t kBlockBytes = 65536;
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
int copy_record(NewFile& to, RecordWay& way, const std::vector<char>& old,
                const FileDefinition& definition, CopyResult& result) {
  bool cut = false;
  std::string reason;
  if (!way.go(old, cut, reason)) {
    note_misfit(result, std::move(reason));
    return 0;
  }
  ++result.records;
  if (cut) ++result.cut;
  const int failed = to.write(way.record());
  if (failed != kIsDuplicate) return failed;
  note_misfit(result,
              record_text(definition, old.data()) + ": another record gets the same primary key");
  return 0;
}

}  // namespace

std::string error_number_text(int number) {
  if (number == EINTR) return "stopped by a signal";
  if (number == kIsFileLocked) return "in use by another process";
  if (number == kIsBadFile) return "damaged, or no data file (EBADFILE)";
  const std::string of_engine = iserror_name(number);
  return of_engine.empty() ? system_error_text(number) : of_engine;
}

// ---- Old files

int OldFile::open(const FileDefinition& definition, const std::string& base, std::string& reason) {
  definition_ = &definition;
  passed_ = 0;
  return is_keyed(definition) ? open_keyed(base, reason) : open_numbered(base, reason);
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
  if (is_keyed(*definition_)) {
    const int mode = passed_++ == 0 ? kIsFirst : kIsNext;
    const int failed = isam_error(ISREAD(descriptor_, record.data(), mode));
    live = failed == 0 && record.back() == kLive;
    return failed == kIsNoRecord ? kIsEndOfFile : failed;
  }
  if (passed_ == count_) return kIsEndOfFile;
  std::size_t length = 0;
  const int failed = bytes_.read(passed_ * record.size(), record, length);
  if (failed == 0 && length != record.size()) return EIO;
  ++passed_;
  live = failed == 0 && record.back() == kLive &&
         static_cast<std::uint64_t>(isld_int4(record.data())) == passed_;
  return failed;
}

// ---- New files

NewFile::~NewFile() {
  if (descriptor_ >= 0) ISCLOSE(descriptor_);
}

int NewFile::create(const FileDefinition& definition, const std::string& base,
                    const std::string& old_base) {
  definition_ = &definition;
  if (const int failed = conversion_step("create")) return failed;
  if (is_keyed(definition)) {
    descriptor_ = isbuild_like(base.c_str(), old_base.c_str(), definition.record_length,
                               isam_key(definition, 1), kIsInputOutput | kIsExclusive);
    return descriptor_ < 0 ? iserrno : 0;
  }
  const int failed = bytes_.create(base.c_str(), NewFileAccess::kOwnerOnly);
  return failed == 0 ? bytes_.take_access(old_base.c_str()) : failed;
}

int NewFile::write(const std::vector<char>& record) {
  if (const int failed = conversion_step("write")) return failed;
  if (is_keyed(*definition_)) return isam_error(ISWRITE(descriptor_, record.data()));
  block_.insert(block_.end(), record.begin(), record.end());
  return block_.size() < kBlockBytes ? 0 : flush();
}

int NewFile::write_deleted() {
  if (is_keyed(*definition_)) return 0;
  std::vector<char> record(static_cast<std::size_t>(definition_->record_length - 1), '\0');
  record.push_back(kDeleted);
  return write(record);
}

int NewFile::flush() {
  const int failed = bytes_.write(written_, block_);
  written_ += block_.size();
  block_.clear();
  return failed;
}

int NewFile::close() {
  if (const int failed = conversion_step("close")) return failed;
  if (is_keyed(*definition_)) return close_keyed();
  int failed = flush();
  if (failed == 0) failed = bytes_.sync();
  bytes_.close();
  return failed;
}

// Adds the other keys to all records at once, which is faster than record by record.
int NewFile::close_keyed() {
  int failed = 0;
  for (int key = 2; failed == 0 && key <= definition_->keys.key_count; ++key)
    failed = isam_error(ISADDINDEX(descriptor_, isam_key(*definition_, key)));
  const int not_closed = isam_error(ISCLOSE(std::exchange(descriptor_, -1)));
  return failed != 0 ? failed : not_closed;
}

int copy_records(OldFile& from, NewFile& to, std::span<const RecordMapping> steps,
                 const CopyWatch& watch, CopyResult& result) {
  RecordWay way(steps);
  std::vector<char> record;
  for (std::uint64_t passed = 0;; ++passed) {
    if (passed % kWatchedEvery == 0 && !watch(passed)) return EINTR;
    bool live = false;
    int failed = from.next(record, live);
    if (failed == kIsEndOfFile) return 0;
    if (failed == 0)
      failed =
          live ? copy_record(to, way, record, steps.front().from(), result) : to.write_deleted();
    if (failed != 0) return failed;
  }
}

}  // namespace marigold::inner
