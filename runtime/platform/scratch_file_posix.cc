#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "runtime/platform/passing_files.h"
#include "runtime/platform/scratch_file.h"

namespace marigold {

int ScratchFile::write(std::string_view bytes) {
  std::error_code error;
  std::string name = std::filesystem::temp_directory_path(error) / "marigold-XXXXXX";
  if (error) return error.value();
  const int descriptor = mkstemp(name.data());
  if (descriptor < 0) return errno;
  path_ = name;
  passing_file_note(path_.c_str());
  int failed = 0;
  while (failed == 0 && !bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) failed = errno;
  }
  if (close(descriptor) != 0 && failed == 0) failed = errno;
  return failed;
}

ScratchFile::~ScratchFile() {
  if (path_.empty()) return;
  unlink(path_.c_str());
  passing_file_forget(path_.c_str());
}

}  // namespace marigold
