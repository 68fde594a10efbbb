// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/named_file.h"

#include <cerrno>
#include <new>
#include <stdexcept>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kReadStep = 65536;

// Reads up to the file's present end, which may differ from its end at the time of opening.
int read_to_end(const FileHandle& file, std::string& bytes, std::size_t most) {
  std::size_t length = 0;
  std::size_t got = 0;
  do {
    bytes.resize(length + kReadStep);
    if (const int failed = read_at(file, length, bytes.data() + length, kReadStep, got))
      return failed;
    length += got;
    if (length > most) return EFBIG;
  } while (got == kReadStep);
  bytes.resize(length);
  return 0;
}

}  // namespace

std::int64_t file_size(const char* path) {
  FileHandle file;
  std::uint64_t bytes = 0;
  if (open_regular(path, false, file, false) != 0 || size_of_open(file, bytes) != 0) return -1;
  return static_cast<std::int64_t>(bytes);
}

int file_read(const char* path, std::string& bytes, std::size_t most) {
  FileHandle file;
  if (const int failed = open_regular(path, false, file, false)) return failed;
  try {
    return read_to_end(file, bytes, most);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {  // longer than any text
  }
  return ENOMEM;
}

int file_sync(const char* path) {
  FileHandle file;
  if (const int failed = open_file(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING, file))
    return failed;
  return FlushFileBuffers(handle_of(file)) != 0 ? 0 : windows_error();
}

// The file system keeps a journal of its names; a directory has nothing that could be flushed.
int file_sync_directory(const char* path) {
  static_cast<void>(path);
  return 0;
}

bool file_exists(const char* path) {
  const WidePath wide(path);
  return wide.failed() == 0 && GetFileAttributesW(wide.text()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace marigold::inner
