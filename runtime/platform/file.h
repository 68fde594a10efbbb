// Files by their names: looking at them, reading them, and their way to the disk. What makes,
// renames and removes them is in new_file.h.
//
// Results: 0 for done, else the system's error number. Nothing here prints or waits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace marigold {

// The length of a regular file that this process may read, in bytes; -1 when the path names none.
// Links are followed. A directory, a pipe or a device is none, and looking at one never waits for
// its other end.
std::int64_t file_size(const char* path);

inline bool file_readable(const char* path) {
  return file_size(path) >= 0;
}

// More than anybody writes by hand: definitions, tables, sources of lists. A file that is longer
// was named by mistake, and would take the memory of the machine.
inline constexpr std::size_t kLongestTextFile = std::size_t{64} << 20;

// Takes the whole content of a regular file of at most so many bytes. EISDIR for a directory,
// EINVAL for anything else that is none, EFBIG for one that is longer, ENOMEM for one that
// memory does not hold; then, as after any failure, `bytes` is of no use.
int file_read(const char* path, std::string& bytes, std::size_t most = kLongestTextFile);

// Hands what the file holds to the disk and waits until it is there.
int file_sync(const char* path);

// Hands the names in the directory of this file to the disk and waits until they are there.
int file_sync_directory(const char* path);

// Whether the name is taken, by whatever kind of file.
bool file_exists(const char* path);

}  // namespace marigold
