// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>

#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/posix/descriptor_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

int sync_and_close(FileHandle& file) {
  if (!file.is_open()) return system_error();
  const int failed = fsync(descriptor_of(file)) != 0 ? system_error() : 0;
  const int not_closed = file.close();
  return failed != 0 ? failed : not_closed;
}

constexpr std::size_t kReadStep = 65536;

// Reads up to the file's present end, which may differ from its end at the time of opening.
int read_to_end(int descriptor, std::string& bytes, std::size_t most) {
  std::size_t length = 0;
  ssize_t taken = 1;
  while (taken != 0) {
    bytes.resize(std::max(bytes.size(), length + kReadStep));
    taken = read(descriptor, bytes.data() + length, bytes.size() - length);
    if (taken < 0 && errno != EINTR) return system_error();
    if (taken > 0) length += static_cast<std::size_t>(taken);
    if (length > most) return EFBIG;
  }
  bytes.resize(length);
  return 0;
}

int read_regular(int descriptor, std::string& bytes, std::size_t most) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return system_error();
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > most) return EFBIG;
  bytes.resize(size + kReadStep);
  return read_to_end(descriptor, bytes, most);
}

}  // namespace

std::int64_t file_size(const char* path) {
  // O_NONBLOCK: opening a named pipe without a writer would wait for one.
  const FileHandle file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.is_open()) return -1;
  struct stat status {};
  const bool regular = fstat(descriptor_of(file), &status) == 0 && S_ISREG(status.st_mode);
  return regular ? std::int64_t{status.st_size} : -1;
}

int file_read(const char* path, std::string& bytes, std::size_t most) {
  // O_NONBLOCK: see file_size.
  const FileHandle file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.is_open()) return system_error();
  try {
    return read_regular(descriptor_of(file), bytes, most);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {  // longer than any text
  }
  return ENOMEM;
}

int file_sync(const char* path) {
  FileHandle file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  return sync_and_close(file);
}

int file_sync_directory(const char* path) {
  const std::string directory(path_directory(path));
  const char* const name = directory.empty() ? "." : directory.c_str();
  FileHandle opened(open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return sync_and_close(opened);
}

bool file_exists(const char* path) {
  struct stat status {};
  return lstat(path, &status) == 0;
}

}  // namespace marigold::inner
