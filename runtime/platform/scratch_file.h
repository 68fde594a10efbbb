// A file for a library that wants a name to read from: made for one purpose, seen by this user
// only.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

class ScratchFile {
 public:
  ScratchFile() = default;
  // Removes the file; so does a signal that ends the process.
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // Makes a file of these bytes, under a new random name in TMPDIR or the system's directory for
  // such files. 0, or the system's error number. Called once.
  int write(std::string_view bytes);

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;  // empty: there is none
};

}  // namespace marigold
