// A file without a name for what a process has too much of to keep in memory. It is gone with the
// object, and with the process however that ends.
//
// Results: 0 for done, else the system's error number. Two threads may use it for different parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace marigold {

class SpillFile {
 public:
  SpillFile() = default;
  ~SpillFile();
  SpillFile(const SpillFile&) = delete;
  SpillFile& operator=(const SpillFile&) = delete;

  // Makes an empty one in the directory of the file at this path, for this user alone; where that
  // may not be written, in the one for temporary files (TMPDIR, else /tmp). Once.
  int make(const char* beside);
  [[nodiscard]] bool is_made() const { return descriptor_ >= 0; }

  // ENOSPC and so on when a part could not be written; EFBIG beyond the process's limit on file
  // sizes, without a signal.
  int write(std::uint64_t offset, std::span<const std::byte> bytes);
  // Reads all of them; EIO when the file ends before.
  int read(std::uint64_t offset, std::span<std::byte> bytes) const;

 private:
  int descriptor_ = -1;
};

}  // namespace marigold
