// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/record_file.h"

#include <cerrno>
#include <utility>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/locked_ranges_windows.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

void (*record_synced_hook)(const RecordFile& file) = nullptr;

namespace {

int injected_fault(FileCall call) {
  return file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(call));
}

}  // namespace

int RecordFile::open(const char* path, bool writable) {
  FileHandle file;
  if (const int failed = open_regular(path, writable, file, false)) return failed;
  take(std::move(file));
  writable_ = writable;
  return 0;
}

int RecordFile::open_own(const char* path, bool writable) {
  FileHandle file;
  if (const int failed = open_regular(path, writable, file, false, FILE_FLAG_OPEN_REPARSE_POINT))
    return failed;
  OpenFileName name;
  if (const int failed = name_of_open(file, name)) return failed;
  if (name.names > 1) return EMLINK;
  take(std::move(file));
  writable_ = writable;
  return 0;
}

int RecordFile::create(const char* path, NewFileAccess access) {
  FileHandle file;
  if (const int failed = make_exclusively(path, access, file)) return failed;
  take(std::move(file));
  writable_ = true;
  return 0;
}

int RecordFile::take_access(const char* like) {
  return take_access_of(handle_, like);
}

int RecordFile::cut() {
  FILE_END_OF_FILE_INFO end{};
  return SetFileInformationByHandle(handle_of(handle_), FileEndOfFileInfo, &end, sizeof end) != 0
             ? 0
             : windows_error();
}

int RecordFile::size(std::uint64_t& bytes) const {
  return size_of_open(handle_, bytes);
}

bool RecordFile::is_still_at(const char* path) const {
  return is_open_file_at(handle_, path);
}

int RecordFile::sync() {
  if (const int fault = injected_fault(FileCall::kSync)) return fault;
  if (writable_ && FlushFileBuffers(handle_of(handle_)) == 0) return windows_error();
  if (record_synced_hook != nullptr) record_synced_hook(*this);
  return 0;
}

int RecordFile::read(std::uint64_t offset, std::span<char> bytes, std::size_t& count) const {
  return read_at(handle_, offset, bytes.data(), bytes.size(), count);
}

int RecordFile::write(std::uint64_t offset, std::span<const char> bytes) {
  if (const int fault = injected_fault(FileCall::kWrite)) return fault;
  return write_at(handle_, offset, bytes.data(), bytes.size());
}

int RecordFile::lock(std::uint64_t offset, std::uint64_t count, bool exclusive) {
  if (exclusive && !writable_) return EBADF;  // as on other systems
  return set_lock(exclusive ? Lock::kExclusive : Lock::kShared, offset, count);
}

int RecordFile::unlock(std::uint64_t offset, std::uint64_t count) {
  return set_lock(Lock::kNone, offset, count);
}

int RecordFile::locked_by_other(std::uint64_t offset, bool& locked) const {
  return locked_exclusively_by_other(offset, locked);
}

int RecordFile::locked_exclusively_by_other(std::uint64_t offset, bool& locked) const {
  std::uintptr_t list = locks_;
  return LockedRanges(handle_, list).find_other_exclusive(offset, locked);
}

}  // namespace marigold::inner
