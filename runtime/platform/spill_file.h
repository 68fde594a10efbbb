// SPDX-License-Identifier: GPL-3.0-or-later
// A nameless file for data that does not fit into the memory of a process. The file vanishes with
// the object, and with the process however that ends.
//
// Results: 0 for done, else the system's error number. Two threads may use it for different parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

class SpillFile {
 public:
  // Makes an empty file in the directory of the file at this path, for this user alone; if that
  // directory is not writable, in the one for temporary files (TMPDIR, else /tmp). Call it once.
  int make(const char* beside);
  [[nodiscard]] bool is_made() const { return handle_.is_open(); }

  // Writes all bytes. ENOSPC and so on if a part cannot be written; EFBIG beyond the process's
  // limit on file sizes, without a signal.
  int write(std::uint64_t offset, std::span<const std::byte> bytes);
  // Reads all bytes; EIO if the file ends before.
  int read(std::uint64_t offset, std::span<std::byte> bytes) const;

 private:
  FileHandle handle_;
};

}  // namespace marigold::inner
