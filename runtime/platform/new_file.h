// Files that are made, put in place of others, and removed. Nothing else in the runtime and its
// tools asks the system for these.
//
// Whoever may write in a directory can put a link, a pipe or a file of another user at any name in
// it, at any moment. So a new file is made exclusively: a name that is taken, by whatever it may
// be, is an error. Owner, group, permissions and access control list are changed through the open
// descriptor, never by name, and the bits that lend a program its owner's rights (set-user-id,
// set-group-id) and the sticky bit are never given. A name is only ever renamed, linked or removed
// itself, not the file that a link leads to.
//
// Results: 0 for done, else the system's error number. Nothing here prints or waits, but for
// open_device and the syncs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marigold {

// The byte that a FileWriter keeps locked in a file that it has made, where the file system has
// locks. Far behind any contents.
inline constexpr std::uint64_t kFileAliveLock = std::uint64_t{1} << 62;

enum class NewFileAccess {
  kByMask,     // 0666 less the process mask
  kOwnerOnly,  // 0600, for a file whose owner and permissions are still to be taken over
};

// A file that is being written, by the one who made it.
class FileWriter {
 public:
  FileWriter() = default;
  FileWriter(FileWriter&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileWriter& operator=(FileWriter&& other) noexcept {
    close();
    descriptor_ = std::exchange(other.descriptor_, -1);
    return *this;
  }
  ~FileWriter() { close(); }

  // Makes an empty file. EEXIST when anything has the name. What was open is closed first. While it
  // is open, new_files_abandoned takes it for alive.
  int make(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // Makes an empty file in the place of whatever has the name, which somebody may still have open.
  // Where the directory does not allow that, a regular file that is there is emptied and written at
  // its end; EMLINK and so on as for file_append.
  int make_again(const char* path);
  // Opens what is there and no regular file: a device, or a pipe, for whose reader it waits.
  // ENXIO for a regular file.
  int open_device(const char* path);
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

  // Writes all of the bytes. On failure an unknown number of the first ones may have been written.
  int write(std::string_view bytes);
  // Takes over owner, group, permissions and access control list of the regular file at `like`.
  // When there is none, or a link, the file gets the permissions of any new file. An owner or a
  // group that the system does not let us give stays ours, and such a group has no more rights than
  // everybody.
  int take_access(const char* like);
  // Waits until the disk holds the contents.
  int sync();
  // A failure may mean that contents have been lost. What is not open counts as closed.
  int close();

  // The same open file for a library that takes a descriptor and closes it; -1 when the process has
  // no descriptor left.
  [[nodiscard]] int share() const;

 private:
  int descriptor_ = -1;
};

// Makes a file with these contents, on the disk. EEXIST as above; after any failure there is none.
int file_make(const char* path, std::string_view bytes);

// Makes the bytes the contents of the file in one step: whoever looks sees the old file or the new
// one, also after a crash. The new file has a name of its own in the same directory until it is
// whole, takes over the access of the old one, or of the file at `like`, and is removed on failure.
int file_put(const char* path, std::string_view bytes, const char* like = nullptr);

// Adds bytes to the end of a file of the runtime's own, which is made if need be. ELOOP for a link,
// EMLINK for a file that has another name as well, EINVAL for one that is not regular: what
// somebody else has put there is left alone. A part may have been written on failure.
int file_append(const char* path, std::string_view bytes);

// Gives the file of the first name the second name, in one step: whoever opens the second name sees
// the whole old file or the whole new one, also after a crash. Both lie on one file system. On
// failure both files are as before.
int file_replace(const char* from, const char* to);

// Gives a file a second name, which must be free (EEXIST): both are the same file from then on. The
// name is on the disk when this returns. File systems without such links refuse (EPERM and others).
int file_link(const char* from, const char* to);

// Removes a name; one that is not there counts as removed.
int file_remove(const char* path);

// Makes a directory and those above it that are missing; one that is there counts as made.
int file_make_directory(const char* path);

// Makes a directory for this user alone (0700). EEXIST when anything has the name.
int file_make_own_directory(const char* path);

// Makes a directory of a random name below the one for temporary files (TMPDIR, else /tmp), for
// this user alone (0700).
int file_make_private_directory(std::string& path);

// Removes an empty directory; one that is not there counts as removed.
int file_remove_directory(const char* path);

// Removes a directory with all that is in it, without following links; one that is not there counts
// as removed.
int file_remove_tree(const char* path);

// ---- Temporary names

// A name beside the path that nobody can foresee: DIRECTORY/.NAME.WORD with 16 hexadecimal digits.
std::string new_file_name(std::string_view path);

// The files beside the path whose names begin as new_file_name gives them, of runs that are over:
// nobody holds one of the same word open, or has a lock on it, and none was changed within the last
// minute. Sorted.
std::vector<std::string> new_files_abandoned(const std::string& path);

}  // namespace marigold
