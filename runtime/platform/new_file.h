// SPDX-License-Identifier: GPL-3.0-or-later
// Makes files, puts them in the place of others, and removes them. Nothing else in the runtime and
// its tools asks the system for these operations, except spill_file.h for its own file.
//
// A user who may write in a directory can put a link, a pipe or another user's file at any name in
// it, at any moment. So a new file is made exclusively: a name that is taken by any kind of file is
// an error. Owner, group, permissions and access control list change through the open file, never
// by name. A file never gets the bits that lend a program its owner's rights (set-user-id,
// set-group-id), nor the sticky bit. Renaming, linking and removing affect a link itself, not the
// file to which it leads.
//
// Results: 0 for done, else the system's error number. Nothing here prints; open_device and the
// syncs wait.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/platform/opened_file.h"

namespace marigold::inner {

// The byte that a FileWriter keeps locked in a file that it has made, if the file system has locks.
inline constexpr std::uint64_t kFileAliveLock = kFirstLock;

enum class NewFileAccess {
  kByMask,     // 0666 less the process mask
  kOwnerOnly,  // 0600, for a file that gets its owner and permissions later
};

// A file that its maker is writing.
class FileWriter {
 public:
  // Closes an open file and makes an empty one. EEXIST if a file of any kind has the name.
  // new_files_abandoned counts the file as in use while it is open.
  int make(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // Makes an empty file and removes the one that has the name, which other processes may still have
  // open. If the directory does not allow the removal, empties the existing regular file and
  // appends to it; EMLINK and so on as for file_append.
  int make_again(const char* path);
  // Opens an existing device or pipe and waits for the reader of a pipe. ENXIO for a regular file.
  int open_device(const char* path);
  [[nodiscard]] bool is_open() const { return handle_.is_open(); }

  // Writes all bytes. After a failure an unknown number of the first ones may be in the file.
  int write(std::string_view bytes);
  // Copies owner, group, permissions and access control list of the regular file at `like`. Without
  // such a file, or for a link, the file gets the permissions of any new file. If the system does
  // not let this process give the owner or the group, the file keeps this process's; another group
  // than that of `like` then has no more rights than all other users.
  int take_access(const char* like);
  // Makes the contents durable.
  int sync();
  // Closes the file. A failure may mean that contents are lost. Returns 0 if no file is open.
  int close();

  // Returns the open file a second time, for a library that takes a file by its number and closes
  // it; -1 if the process has no number left.
  [[nodiscard]] LibraryFile share() const;

 private:
  FileHandle handle_;
};

// Makes a file with these contents and makes it durable. EEXIST as above; a failure leaves no file.
int file_make(const char* path, std::string_view bytes);

// Replaces the contents of the file in one step: any reader sees the old file or the new one, also
// after a crash. The new file has a temporary name in the same directory until it is whole. It gets
// the access of the old file, or of the file at `like`. A failure removes it.
int file_put(const char* path, std::string_view bytes, const char* like = nullptr);

// Adds bytes to the end of a file of the runtime's own, and makes a missing one. ELOOP for a link,
// EMLINK for a file that has a second name, EINVAL for a file that is not regular: such a file
// stays as it is, because another user may have put it there. A failure may leave a part of the
// bytes written.
int file_append(const char* path, std::string_view bytes);

// Renames a file to a second name in one step: any reader of the second name sees the whole old
// file or the whole new one, also after a crash. Both names are on one file system. A failure of
// the renaming leaves both files as before.
int file_replace(const char* from, const char* to);

// Gives a file a second name, which must be free (EEXIST). Both names lead to the same file. The
// new name is durable on return. File systems without such links refuse (EPERM and others).
int file_link(const char* from, const char* to);

// Removes a name; a missing one counts as removed.
int file_remove(const char* path);

// Makes a directory and the missing directories above it; an existing one counts as made.
int file_make_directory(const char* path);

// Makes a directory for this user alone (0700). EEXIST if a file of any kind has the name.
int file_make_own_directory(const char* path);

// Makes a directory with a random name, for this user alone (0700), in the directory for temporary
// files (TMPDIR, else /tmp).
int file_make_private_directory(std::string& path);

// Removes an empty directory; a missing one counts as removed.
int file_remove_directory(const char* path);

// Removes a directory with all its contents, without following links; a missing one counts as
// removed.
int file_remove_tree(const char* path);

// ---- Temporary names

// Returns an unpredictable name beside the path: DIRECTORY/.NAME.WORD with 16 hexadecimal digits.
std::string new_file_name(std::string_view path);

// Returns the abandoned files beside the path with names as new_file_name makes them, sorted. A
// file is abandoned if no process holds a lock on a file with the same word, and none of these
// files has changed within the last minute.
std::vector<std::string> new_files_abandoned(const std::string& path);

}  // namespace marigold::inner
