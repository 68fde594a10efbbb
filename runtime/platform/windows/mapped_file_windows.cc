// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/mapped_file.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/locked_ranges_windows.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

int (*file_fault_hook)(FileCall call) = nullptr;
void (*file_synced_hook)(const MappedFile& file, std::uint64_t offset,
                         std::uint64_t bytes) = nullptr;

namespace {

constexpr int kMapTries = 5;

int injected_fault(FileCall call) {
  return file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(call));
}

// Sets the length, with disk space for every byte: the file is no sparse one.
int set_length(const FileHandle& file, std::uint64_t bytes) {
  FILE_END_OF_FILE_INFO end{};
  end.EndOfFile.QuadPart = static_cast<LONGLONG>(bytes);
  return SetFileInformationByHandle(handle_of(file), FileEndOfFileInfo, &end, sizeof end) != 0
             ? 0
             : windows_error();
}

// Maps the whole file. The view keeps the system's section alive.
int map_whole(const FileHandle& file, bool writable, std::uint64_t bytes, void*& view) {
  const FileHandle section = file_of(CreateFileMappingW(
      handle_of(file), nullptr, writable ? PAGE_READWRITE : PAGE_READONLY, 0, 0, nullptr));
  // A section that cannot be made is no handle at all, and not the invalid one.
  if (section.value() == 0) return windows_error();
  const DWORD access = writable ? FILE_MAP_READ | FILE_MAP_WRITE : FILE_MAP_READ;
  view = MapViewOfFile(handle_of(section), access, 0, 0, bytes);
  return view != nullptr ? 0 : windows_error();
}

}  // namespace

int MappedFile::open(const char* path, FileAccess access) {
  if (const int fault = injected_fault(FileCall::kOpen)) return fault;
  const bool writable = access == FileAccess::kReadWrite;
  FileHandle file;
  if (const int failed = open_regular(path, writable, file, true)) return failed;
  take(std::move(file));
  writable_ = writable;
  return 0;
}

int MappedFile::create(const char* path, NewFileAccess access) {
  if (const int fault = injected_fault(FileCall::kOpen)) return fault;
  FileHandle file;
  if (const int failed = make_exclusively(path, access, file)) return failed;
  if (is_remote(file)) {
    static_cast<void>(file.close());
    const int not_removed = file_remove(path);
    return not_removed != 0 ? not_removed : kOnNetworkDrive;
  }
  take(std::move(file));
  writable_ = true;
  return 0;
}

int MappedFile::take_access(const char* like) {
  return take_access_of(handle_, like);
}

int MappedFile::size(std::uint64_t& bytes) const {
  return size_of_open(handle_, bytes);
}

int MappedFile::identity(FileIdentity& identity) const {
  OpenFileName name;
  if (const int failed = name_of_open(handle_, name)) return failed;
  identity = {.device = name.volume, .number = name.number};
  return 0;
}

bool MappedFile::is_still_at(const char* path) const {
  return is_open_file_at(handle_, path);
}

// The system gives all of the space or none.
int MappedFile::reserve(std::uint64_t bytes) {
  if (const int fault = injected_fault(FileCall::kReserve)) return fault;
  std::uint64_t present = 0;
  if (const int failed = size(present)) return failed;
  return bytes <= present ? 0 : set_length(handle_, bytes);
}

// The system cuts no file that is mapped, so the view is taken away meanwhile.
int MappedFile::truncate(std::uint64_t bytes) {
  std::uint64_t present = 0;
  if (const int failed = size(present)) return failed;
  if (present == bytes) return 0;
  const std::uint64_t mapped = mapped_;
  unmap();
  const int failed = set_length(handle_, bytes);
  const std::uint64_t again = failed == 0 ? std::min(mapped, bytes) : mapped;
  const int not_mapped = again > 0 ? map(again) : 0;
  return failed != 0 ? failed : not_mapped;
}

int MappedFile::map(std::uint64_t bytes) {
  if (bytes <= mapped_) return 0;
  std::uint64_t present = 0;
  void* view = nullptr;
  int failed = 0;
  // The open file has the rights. What is denied is a view of a file that another process has cut
  // since it was measured.
  for (int i = 0; i == 0 || (failed == EACCES && i < kMapTries); ++i) {
    // A view reaches to the end of the file: a longer one would make the file longer.
    if (const int not_measured = size(present)) return not_measured;
    if (present < bytes) return system_result(ENODATA);
    failed = injected_fault(FileCall::kMap);
    if (failed == 0) failed = map_whole(handle_, writable_, present, view);
  }
  if (failed != 0) return failed;
  unmap();
  memory_ = static_cast<std::byte*>(view);
  mapped_ = present;
  return 0;
}

int MappedFile::view_again() {
  return hit_reason_;
}

int MappedFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
  std::size_t got = 0;
  const int failed = read_at(handle_, offset, bytes.data(), bytes.size(), got);
  return failed != 0 ? failed : got < bytes.size() ? EIO : 0;
}

// Unlocking pages that were never locked takes them out of the working set.
void MappedFile::forget(std::uint64_t offset, std::uint64_t bytes) const {
  const std::uint64_t end = std::min(offset + bytes, mapped_);
  if (offset < end) VirtualUnlock(memory_ + offset, end - offset);
}

int MappedFile::sync() {
  if (const int fault = injected_fault(FileCall::kSync)) return fault;
  if (memory_ != nullptr && FlushViewOfFile(memory_, 0) == 0) return windows_error();
  if (writable_ && FlushFileBuffers(handle_of(handle_)) == 0) return windows_error();
  std::uint64_t bytes = 0;
  if (file_synced_hook != nullptr && size(bytes) == 0) file_synced_hook(*this, 0, bytes);
  return 0;
}

int MappedFile::sync_part(std::uint64_t offset, std::uint64_t bytes) {
  if (const int fault = injected_fault(FileCall::kSync)) return fault;
  if (FlushViewOfFile(memory_ + offset, bytes) == 0) return windows_error();
  if (writable_ && FlushFileBuffers(handle_of(handle_)) == 0) return windows_error();
  if (file_synced_hook != nullptr) file_synced_hook(*this, offset, bytes);
  return 0;
}

void MappedFile::start_sync(std::uint64_t offset, std::uint64_t bytes) {
  static_cast<void>(offset);
  static_cast<void>(bytes);
}

int MappedFile::lock(std::uint64_t offset, bool exclusive) {
  if (const int fault = injected_fault(FileCall::kLock)) return fault;
  return set_lock(exclusive ? Lock::kExclusive : Lock::kShared, offset, 1);
}

int MappedFile::lock_if_alone(std::uint64_t offset) {
  return lock(offset, true);
}

bool MappedFile::may_lock_exclusively() const {
  return true;
}

int MappedFile::unlock(std::uint64_t offset, std::uint64_t count) {
  return set_lock(Lock::kNone, offset, count);
}

int MappedFile::locked_by_other(std::uint64_t offset, bool& locked, std::uint64_t count) const {
  std::uintptr_t list = locks_;
  return LockedRanges(handle_, list).find_other(offset, count, locked);
}

int MappedFile::locked_exclusively_by_other(std::uint64_t offset, bool& locked) const {
  std::uintptr_t list = locks_;
  return LockedRanges(handle_, list).find_other_exclusive(offset, locked);
}

void wait_a_little(int round) {
  constexpr int kSpinningRounds = 10;
  if (round < kSpinningRounds)
    SwitchToThread();
  else
    Sleep(1);
}

}  // namespace marigold::inner
