// SPDX-License-Identifier: GPL-3.0-or-later
// A temporary file, readable by this user only, for a library that reads from a file name.
#pragma once

#include <string>
#include <string_view>

namespace marigold::inner {

class ScratchFile {
 public:
  ScratchFile() = default;
  // Removes the file. A signal that asks the process to end also removes it.
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // Makes a file of these bytes, under a new random name in the directory for temporary files
  // (TMPDIR, else /tmp). Returns 0, or the system's error number. Call it once.
  int write(std::string_view bytes);

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;  // empty: no file
};

}  // namespace marigold::inner
