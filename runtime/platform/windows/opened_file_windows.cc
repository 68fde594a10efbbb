// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/opened_file.h"

#include <cerrno>
#include <new>
#include <utility>

#include "runtime/platform/windows/locked_ranges_windows.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

// No page is missing: the system cuts no file that is mapped. A page that the disk cannot give ends
// the process.
bool OpenedFile::meet_missing_page(void* at) {
  static_cast<void>(at);
  return false;
}

void OpenedFile::take(FileHandle file) {
  close();
  handle_ = std::move(file);
}

void OpenedFile::unmap() {
  if (memory_ != nullptr) UnmapViewOfFile(memory_);
  memory_ = nullptr;
  mapped_ = 0;
}

// Gives the locks back first: the system does so some time after the closing.
void OpenedFile::close() {
  if (!is_open()) return;
  unmap();
  LockedRanges(handle_, locks_).release_all();
  static_cast<void>(handle_.close());
}

int OpenedFile::set_lock(Lock kind, std::uint64_t offset, std::uint64_t count) {
  LockedRanges ranges(handle_, locks_);
  if (kind == Lock::kNone) return ranges.release(offset, count);
  if (!are_for_locks(offset, count)) return EINVAL;
  return ranges.take(offset, count, kind == Lock::kExclusive);
}

}  // namespace marigold::inner
