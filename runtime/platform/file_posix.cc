#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

#include "runtime/platform/file.h"

namespace marigold {
namespace {

int sync_and_close(int descriptor) {
  const int failed = fsync(descriptor) != 0 ? errno : 0;
  if (close(descriptor) != 0 && failed == 0) return errno;
  return failed;
}

// A rename is on the disk when the directory that holds the name is.
int sync_directory_of(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  std::string directory = ".";
  if (slash != std::string_view::npos) directory = path.substr(0, slash == 0 ? 1 : slash);
  const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return descriptor < 0 ? errno : sync_and_close(descriptor);
}

}  // namespace

bool file_readable(const char* path) {
  // O_NONBLOCK: opening a named pipe without a writer would wait for one.
  const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  struct stat status {};
  const bool regular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  close(descriptor);
  return regular;
}

int file_replace(const char* from, const char* to) {
  if (std::rename(from, to) != 0) return errno;
  return sync_directory_of(to);
}

int file_sync(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  return descriptor < 0 ? errno : sync_and_close(descriptor);
}

int file_remove(const char* path) {
  return std::remove(path) != 0 && errno != ENOENT ? errno : 0;
}

}  // namespace marigold
