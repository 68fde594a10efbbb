// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/posix/byte_locks_posix.h"
#include "runtime/platform/posix/regular_file_posix.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

void (*record_synced_hook)(const RecordFile& file) = nullptr;

namespace {

int injected_fault(FileCall call) {
  return file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(call));
}

}  // namespace

int RecordFile::open(const char* path, bool writable) {
  FileHandle file;
  if (const int failed = open_regular(path, writable, file)) return failed;
  take(std::move(file));
  return 0;
}

int RecordFile::open_own(const char* path, bool writable) {
  FileHandle file;
  if (const int failed = open_regular(path, writable, file, O_NOFOLLOW)) return failed;
  struct stat status {};
  if (fstat(descriptor_of(file), &status) != 0) return system_error();
  if (status.st_nlink > 1) return EMLINK;
  take(std::move(file));
  return 0;
}

int RecordFile::create(const char* path, NewFileAccess access) {
  FileHandle file;
  if (const int failed = make_exclusively(path, access, file)) return failed;
  take(std::move(file));
  return 0;
}

int RecordFile::take_access(const char* like) {
  return take_access_of(handle_, like);
}

int RecordFile::cut() {
  return ftruncate(descriptor_of(handle_), 0) != 0 ? system_error() : 0;
}

int RecordFile::size(std::uint64_t& bytes) const {
  return size_of_open(handle_, bytes);
}

bool RecordFile::is_still_at(const char* path) const {
  return is_open_file_at(handle_, path);
}

int RecordFile::sync() {
  if (const int fault = injected_fault(FileCall::kSync)) return fault;
  if (fdatasync(descriptor_of(handle_)) != 0) return system_error();
  if (record_synced_hook != nullptr) record_synced_hook(*this);
  return 0;
}

int RecordFile::read(std::uint64_t offset, std::span<char> bytes, std::size_t& count) const {
  count = 0;
  while (count < bytes.size()) {
    const ssize_t got = pread(descriptor_of(handle_), bytes.data() + count, bytes.size() - count,
                              static_cast<off_t>(offset + count));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) return system_error();
    if (got > 0) count += static_cast<std::size_t>(got);
  }
  return 0;
}

int RecordFile::write(std::uint64_t offset, std::span<const char> bytes) {
  if (const int fault = injected_fault(FileCall::kWrite)) return fault;
  while (!bytes.empty()) {
    const ssize_t written =
        pwrite(descriptor_of(handle_), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno != EINTR) return system_error();
    if (written <= 0) continue;
    offset += static_cast<std::uint64_t>(written);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

int RecordFile::lock(std::uint64_t offset, std::uint64_t count, bool exclusive) {
  return set_lock(exclusive ? Lock::kExclusive : Lock::kShared, offset, count);
}

int RecordFile::unlock(std::uint64_t offset, std::uint64_t count) {
  return set_lock(Lock::kNone, offset, count);
}

int RecordFile::locked_by_other(std::uint64_t offset, bool& locked) const {
  return byte_locked_by_other(handle_, offset, locked);
}

int RecordFile::locked_exclusively_by_other(std::uint64_t offset, bool& locked) const {
  return byte_locked_exclusively_by_other(handle_, offset, locked);
}

}  // namespace marigold::inner
