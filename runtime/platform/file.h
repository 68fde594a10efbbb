// Files by their names.
//
// Results: 0 for done, else the system's error number. Nothing here prints or waits.
#pragma once

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

// Gives the file of the first name the second name, in one step: whoever opens the second name sees
// the whole old file or the whole new one, also after a crash. Both lie on one file system. On
// failure both files are as before.
int file_replace(const char* from, const char* to);

// Takes the whole content of a regular file. EISDIR for a directory, EINVAL for anything else that
// is none; then, as after any failure, `bytes` is of no use.
int file_read(const char* path, std::string& bytes);

// Hands what the file holds to the disk and waits until it is there.
int file_sync(const char* path);

// Makes the bytes the whole content of a file, which is created if need be. A failure leaves an
// unknown number of the first bytes in it.
int file_write(const char* path, std::string_view bytes);

// For libraries that open files themselves and take the flags of the system's open call: those
// that make an empty file, in the place of one that is there, and open it for reading and writing.
int file_flags_for_new();

// Hands the names in the directory of this file to the disk and waits until they are there.
int file_sync_directory(const char* path);

// Makes a directory and those above it that are missing; one that is there counts as made.
int file_make_directory(const char* path);

// Gives a file a second name, which must be free (EEXIST): both are the same file from then on. The
// name is on the disk when this returns. File systems without such links refuse (EPERM and others).
int file_link(const char* from, const char* to);

// Gives a file the permissions and, where the system lets us, the owner of another one.
int file_take_access(const char* path, const char* like);

// Whether the name is taken, by whatever kind of file.
bool file_exists(const char* path);

// Removes a file; one that is not there counts as removed.
int file_remove(const char* path);

}  // namespace marigold
