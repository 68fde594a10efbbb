#include "tools/input_file.h"

#include <cerrno>
#include <filesystem>

#include "tools/new_files.h"

namespace marigold {

bool open_input(const std::string& path, std::ifstream& file, std::string& problem) {
  std::error_code unknown;
  errno = 0;
  if (std::filesystem::is_directory(path, unknown)) errno = EISDIR;
  if (errno == 0) file.open(path, std::ios::binary);
  if (!file.is_open()) problem = file_error(path, errno);
  return file.is_open();
}

}  // namespace marigold
