// SPDX-License-Identifier: GPL-3.0-or-later
// Files by their names: examines, reads and syncs them. new_file.h makes, renames and removes
// files.
//
// Results: 0 for done, else the system's error number. Nothing here prints; only the syncs wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace marigold::inner {

// Returns the length of a regular file that this process may read, in bytes; -1 if the path names
// no such file. Follows links. A directory, a pipe or a device is no such file, and the function
// never waits for the other end of a pipe.
std::int64_t file_size(const char* path);

inline bool file_readable(const char* path) {
  return file_size(path) >= 0;
}

// More than users write by hand: definitions, tables, sources of lists. A user named a longer file
// by mistake, and reading it would use up the memory of the machine.
inline constexpr std::size_t kLongestTextFile = std::size_t{64} << 20;

// Reads the whole content of a regular file of at most `most` bytes. EISDIR for a directory, EINVAL
// for any other file that is not regular, EFBIG for a longer file, ENOMEM if memory cannot hold the
// content. After any failure `bytes` has no use.
int file_read(const char* path, std::string& bytes, std::size_t most = kLongestTextFile);

// Makes the contents of the file durable.
int file_sync(const char* path);

// Makes the names in the directory of this file durable.
int file_sync_directory(const char* path);

// Whether a file of any kind has this name.
bool file_exists(const char* path);

}  // namespace marigold::inner
