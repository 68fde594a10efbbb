// What the kinds of files of this folder share on POSIX systems.
//
// Results: 0 for done, else the system's error number.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace marigold {

// Opens a regular file; EINVAL for anything else, whose other end is not waited for. On failure
// nothing is open.
inline int open_regular(const char* path, bool writable, int& descriptor) {
  const int opened = ::open(path, (writable ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC);
  if (opened < 0) return errno;
  struct stat status {};
  int failed = fstat(opened, &status) != 0 ? errno : 0;
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
  if (fstat(descriptor, &status) != 0) return errno;
  bytes = static_cast<std::uint64_t>(status.st_size);
  return 0;
}

}  // namespace marigold
