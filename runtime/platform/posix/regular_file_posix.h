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
#include <utility>

#include "runtime/platform/posix/descriptor_posix.h"
#include "runtime/platform/posix/size_limit_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

// Opens a regular file. EINVAL for any other file, and the function does not wait for the other end
// of a pipe. A failure leaves nothing open. `more` adds flags of the system's call.
inline int open_regular(const char* path, bool writable, FileHandle& file, int more = 0) {
  if (writable) survive_size_limit();
  FileHandle opened(::open(path, (writable ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC | more));
  if (!opened.is_open()) return system_error();
  struct stat status {};
  if (fstat(descriptor_of(opened), &status) != 0) return system_error();
  if (!S_ISREG(status.st_mode)) return EINVAL;
  file = std::move(opened);
  return 0;
}

inline int size_of_open(const FileHandle& file, std::uint64_t& bytes) {
  struct stat status {};
  if (fstat(descriptor_of(file), &status) != 0) return system_error();
  bytes = static_cast<std::uint64_t>(status.st_size);
  return 0;
}

// Reads all bytes; EIO if the file ends before.
inline int read_exactly(const FileHandle& file, std::uint64_t offset, std::span<std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t got =
        pread(descriptor_of(file), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got < 0 ? system_error() : EIO;
    offset += static_cast<std::uint64_t>(got);
    bytes = bytes.subspan(static_cast<std::size_t>(got));
  }
  return 0;
}

// Whether the name leads to the open file.
inline bool is_open_file_at(const FileHandle& file, const char* path) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor_of(file), &opened) == 0 && stat(path, &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace marigold::inner
