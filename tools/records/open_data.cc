// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <vector>

#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/random_file.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {

int OpenKeyedFile::open(const std::string& base, int mode) {
  number_ = ISOPEN(base.c_str(), mode);
  return is_open() ? 0 : iserrno;
}

int OpenKeyedFile::build(const FileDefinition& file, const std::string& base) {
  return build_like(file, base, "");
}

int OpenKeyedFile::build_like(const FileDefinition& file, const std::string& base,
                              const std::string& like) {
  const KeyDescription primary = file.type == FileType::kIsam ? isam_key(file, 1) : random_key();
  number_ = isbuild_like(base.c_str(), like.c_str(), file.record_length, primary,
                         kIsInputOutput | kIsExclusive);
  if (!is_open()) return iserrno;
  for (int key = 2; key <= file.keys.key_count; ++key) {
    if (ISADDINDEX(number_, isam_key(file, key)) != 0) return iserrno;
  }
  return 0;
}

int OpenKeyedFile::close() {
  if (!is_open()) return 0;
  const int result = ISCLOSE(number_);
  number_ = -1;
  return result == 0 ? 0 : iserrno;
}

void OpenKeyedFile::retire() {
  if (is_open()) isretire(number_);
}

int OpenKeyedFile::info(IsamInfo& info) const {
  return isinfo(number_, info) == 0 ? 0 : iserrno;
}

bool fits_definition(const DataTarget& target, int number, std::string& reason) {
  if (!target.is_keyed()) {
    const int failed = random_check(number, target.definition->record_length, reason);
    if (failed != 0 && reason.empty()) reason = data_error(failed);
    return failed == 0;
  }
  IsamInfo shape;
  if (isshape(number, shape) == 0) return isam_fits(*target.definition, shape, reason);
  reason = data_error(iserrno);
  return false;
}

int count_records(int number, int record_length, std::int64_t& records) {
  records = 0;
  std::vector<char> record(static_cast<std::size_t>(record_length));
  for (int mode = kIsFirst; ISREAD(number, record.data(), mode) == 0; mode = kIsNext)
    records += record.back() == kLiveMarker ? 1 : 0;
  return iserrno == kIsEndOfFile || iserrno == kIsNoRecord ? 0 : iserrno;
}

std::string misfit_of(const DataTarget& target) {
  OpenKeyedFile file;
  const int failed = file.open(target.base, kIsInput | kIsReadOnly | kIsManualLock);
  if (failed != 0) return data_error(target.base, failed);
  std::string reason;
  if (check_version(target, reason) && fits_definition(target, file.number(), reason)) return "";
  return target.base + ": " + reason;
}

OpenNumberedFile::~OpenNumberedFile() {
  if (file_) random_close(*file_);
}

int OpenNumberedFile::open(const DataTarget& target, bool exclusive) {
  {
    // The access layer would make a missing file, and end the process for other failures.
    RecordFile probe;
    if (const int failed = probe.open(target.base.c_str(), exclusive)) return failed;
  }
  bool created = false;
  DataFile file = target.handle();
  file.read_only = !exclusive;
  if (random_open(file, target.base, created, exclusive) != kDataDone) return kIsFileLocked;
  file_.emplace(std::move(file));
  return 0;
}

RecordFile& OpenNumberedFile::bytes() const {
  return *random_bytes(*file_);
}

}  // namespace marigold::inner
