// SPDX-License-Identifier: GPL-3.0-or-later
// Functions that the kinds of files in this folder share on POSIX systems.
//
// Results: 0 for done, else the system's error number.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>

#include "runtime/platform/posix/size_limit_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

// Opens a regular file. EINVAL for any other file, and the function does not wait for the other end
// of a pipe. A failure leaves nothing open. `more` adds flags of the system's call.
inline int open_regular(const char* path, bool writable, int& descriptor, int more = 0) {
  if (writable) survive_size_limit();
  const int opened = ::open(path, (writable ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC | more);
  if (opened < 0) return system_error();
  struct stat status {};
  int failed = fstat(opened, &status) != 0 ? system_error() : 0;
  if (failed == 0 && !S_ISREG(status.st_mode)) failed = EINVAL;
  if (failed != 0) {
    ::close(opened);
    return failed;
  }
  descriptor = opened;
  return 0;
}

inline int size_of_open(int descriptor, std::uint64_t& bytes) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return system_error();
  bytes = static_cast<std::uint64_t>(status.st_size);
  return 0;
}

// Reads all bytes; EIO if the file ends before.
inline int read_exactly(int descriptor, std::uint64_t offset, std::span<std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t got = pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got < 0 ? system_error() : EIO;
    offset += static_cast<std::uint64_t>(got);
    bytes = bytes.subspan(static_cast<std::size_t>(got));
  }
  return 0;
}

// Whether the name leads to the open file.
inline bool is_open_file_at(int descriptor, const char* path) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && stat(path, &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace marigold::inner
