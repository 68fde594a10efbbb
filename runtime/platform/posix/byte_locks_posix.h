// SPDX-License-Identifier: GPL-3.0-or-later
// Byte-range locks of an open file description. Unlike a process's locks they also exclude two
// opens in one process, and closing one descriptor drops no lock of another. The files of this
// folder share them.
#pragma once

#include <fcntl.h>

#include <cerrno>
#include <cstdint>

#include "runtime/platform/posix/descriptor_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

// Sets F_RDLCK, F_WRLCK or F_UNLCK on `count` bytes. EAGAIN if another open file has locked one of
// them.
inline int set_byte_lock(const FileHandle& file, short kind, std::uint64_t offset,
                         std::uint64_t count) {
  struct flock range {};
  range.l_type = kind;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(offset);
  range.l_len = static_cast<off_t>(count);
  if (fcntl(descriptor_of(file), F_OFD_SETLK, &range) == 0) return 0;
  return errno == EACCES ? EAGAIN : system_error();
}

// Whether another open file holds a lock on one of the bytes that excludes a lock of this kind: any
// lock excludes F_WRLCK, an exclusive one F_RDLCK. A count of 0 means all bytes from the offset on.
inline int range_locked_by_other(const FileHandle& file, std::uint64_t offset, std::uint64_t count,
                                 short kind, bool& locked) {
  struct flock range {};
  range.l_type = kind;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(offset);
  range.l_len = static_cast<off_t>(count);
  if (fcntl(descriptor_of(file), F_OFD_GETLK, &range) != 0) return system_error();
  locked = range.l_type != F_UNLCK;
  return 0;
}

inline int byte_locked_by_other(const FileHandle& file, std::uint64_t offset, bool& locked) {
  return range_locked_by_other(file, offset, 1, F_WRLCK, locked);
}

inline int byte_locked_exclusively_by_other(const FileHandle& file, std::uint64_t offset,
                                            bool& locked) {
  return range_locked_by_other(file, offset, 1, F_RDLCK, locked);
}

}  // namespace marigold::inner
