// SPDX-License-Identifier: GPL-3.0-or-later
// What the sources of this folder share: handles, paths, and the system's errors as numbers of the
// C library, which all results of this floor are.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <array>
#include <cstdint>

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

inline HANDLE handle_of(const FileHandle& file) {
  // A handle of the system is a number in a pointer.
  return reinterpret_cast<HANDLE>(file.value());  // NOLINT(performance-no-int-to-ptr)
}

inline FileHandle file_of(HANDLE handle) {
  return FileHandle(reinterpret_cast<std::intptr_t>(handle));
}

// Returns the result for an error of the system, or for that of the last call.
int result_of(DWORD error);
inline int windows_error() {
  return result_of(GetLastError());
}

// A path in UTF-8 as the system takes it, without the heap.
class WidePath {
 public:
  explicit WidePath(const char* path);
  // 0, EINVAL for a path that is not in UTF-8, ENAMETOOLONG.
  [[nodiscard]] int failed() const { return failed_; }
  [[nodiscard]] const wchar_t* text() const { return text_.data(); }

 private:
  static constexpr int kLongest = 4096;

  int failed_ = 0;
  std::array<wchar_t, kLongest> text_;
};

// All processes may read, write, replace and remove a file while it is open, as on other systems.
inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Opens or makes a file. `disposition` and `flags` are those of CreateFileW.
int open_file(const char* path, DWORD access, DWORD disposition, FileHandle& file, DWORD flags = 0,
              SECURITY_ATTRIBUTES* security = nullptr);

// Whether an open file is on a network drive. A view of such a file does not show what other
// machines write.
bool is_remote(const FileHandle& file);

// Opens a regular file. EISDIR for a directory, EINVAL for a device or a pipe; kOnNetworkDrive, if
// the file is to be `local`.
int open_regular(const char* path, bool writable, FileHandle& file, bool local, DWORD flags = 0);

int size_of_open(const FileHandle& file, std::uint64_t& bytes);

// Reads up to `count` bytes at an offset; `got` is less at the end of the file.
int read_at(const FileHandle& file, std::uint64_t offset, void* bytes, std::size_t count,
            std::size_t& got);
int write_at(const FileHandle& file, std::uint64_t offset, const void* bytes, std::size_t count);

// The volume and the number of an open file.
struct OpenFileName {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;
  std::uint32_t names = 0;
  bool operator==(const OpenFileName&) const = default;
};
int name_of_open(const FileHandle& file, OpenFileName& name);
bool is_open_file_at(const FileHandle& file, const char* path);

// Tries to lock a range, and unlocks exactly such a range. EAGAIN if another handle excludes it.
int try_lock(const FileHandle& file, std::uint64_t offset, std::uint64_t count, bool exclusive);
int unlock_range(const FileHandle& file, std::uint64_t offset, std::uint64_t count);

}  // namespace marigold::inner
