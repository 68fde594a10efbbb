#include <filesystem>
#include <system_error>

#include "runtime/platform/file.h"

namespace marigold {

int file_make_directory(const char* path) {
  std::error_code failed;
  std::filesystem::create_directories(path, failed);
  return failed.value();
}

}  // namespace marigold
