// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/new_file_steps.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <utility>

#include "runtime/platform/named_file.h"
#include "runtime/platform/posix/byte_locks_posix.h"
#include "runtime/platform/posix/regular_file_posix.h"
#include "runtime/platform/posix/size_limit_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kOwnerMode = 0600;
constexpr mode_t kPermissions = 0777;

// Reads the mask by setting it, the only way to read it; the process has one thread.
mode_t process_mask() {
  const mode_t mask = umask(S_IRWXG | S_IRWXO);
  umask(mask);
  return mask;
}

// ---- Access

constexpr const char* kAccessList = "system.posix_acl_access";

bool has_no_list(int error) {
  return error == ENODATA || error == ENOTSUP || error == EOPNOTSUPP;
}

// Gives `to` the access control list of `from`, or removes its list if `from` has none.
int copy_access_list(int from, int to) {
  std::array<char, 65536> list{};  // the largest list that the system keeps
  const ssize_t length = fgetxattr(from, kAccessList, list.data(), list.size());
  if (length < 0 && !has_no_list(errno)) return system_error();
  if (length >= 0)
    return fsetxattr(to, kAccessList, list.data(), static_cast<std::size_t>(length), 0) == 0
               ? 0
               : system_error();
  // The new file may have got a list from its directory.
  return fremovexattr(to, kAccessList) == 0 || has_no_list(errno) ? 0 : system_error();
}

int give_owner(int descriptor, const struct stat& wanted, struct stat& present) {
  if (fstat(descriptor, &present) != 0) return system_error();
  if (present.st_uid == wanted.st_uid && present.st_gid == wanted.st_gid) return 0;
  // Only privileged users may give files away; for other users the file stays theirs.
  if (fchown(descriptor, wanted.st_uid, wanted.st_gid) != 0 && errno != EPERM)
    return system_error();
  if (fstat(descriptor, &present) != 0) return system_error();
  if (present.st_gid != wanted.st_gid &&
      fchown(descriptor, static_cast<uid_t>(-1), wanted.st_gid) != 0 && errno != EPERM)
    return system_error();
  return fstat(descriptor, &present) == 0 ? 0 : system_error();
}

int copy_access(int from, bool readable, const struct stat& wanted, int to) {
  struct stat present {};
  if (const int failed = give_owner(to, wanted, present)) return failed;
  mode_t mode = wanted.st_mode & kPermissions;
  const bool same_group = present.st_gid == wanted.st_gid;
  // Another group must not get the rights of the old group.
  if (!same_group) mode = (mode & ~mode_t{S_IRWXG}) | (mode & S_IRWXO) << 3;
  if (readable && same_group) {
    if (const int failed = copy_access_list(from, to)) return failed;
  }
  return fchmod(to, mode) == 0 ? 0 : system_error();
}

// Opens a regular file that has no other name and was not reached through a link.
int open_to_append(const char* path, int more, FileHandle& file) {
  survive_size_limit();
  FileHandle opened(
      open(path, O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | more, kNewFileMode));
  if (!opened.is_open()) return system_error();
  struct stat status {};
  if (fstat(descriptor_of(opened), &status) != 0) return system_error();
  if (!S_ISREG(status.st_mode)) return EINVAL;
  if (status.st_nlink > 1) return EMLINK;
  file = std::move(opened);
  return 0;
}

// Opens a file to examine it, never through a link. Only a readable file gives its access control
// list.
FileHandle open_to_look(const char* path, bool& readable) {
  FileHandle file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  readable = file.is_open();
  if (readable || errno != EACCES) return file;
  return FileHandle(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

int write_all(const FileHandle& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_of(file), bytes.data(), bytes.size());
    if (written >= 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) return system_error();
  }
  return 0;
}

}  // namespace

int make_exclusively(const char* path, NewFileAccess access, FileHandle& file) {
  survive_size_limit();
  const mode_t mode = access == NewFileAccess::kOwnerOnly ? kOwnerMode : kNewFileMode;
  FileHandle made(open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!made.is_open()) return system_error();
  file = std::move(made);
  return 0;
}

int take_access_of(const FileHandle& file, const char* like) {
  bool readable = false;
  const FileHandle look = open_to_look(like, readable);
  if (!look.is_open() && errno != ENOENT && errno != ELOOP && errno != ENXIO) return system_error();
  const int from = descriptor_of(look);
  const int to = descriptor_of(file);
  struct stat wanted {};
  if (look.is_open() && fstat(from, &wanted) == 0 && S_ISREG(wanted.st_mode))
    return copy_access(from, readable, wanted, to);
  return fchmod(to, kNewFileMode & ~process_mask()) == 0 ? 0 : system_error();
}

std::array<unsigned char, 8> random_bytes() {
  std::array<unsigned char, 8> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0) std::abort();  // no such kernel is supported
  return bytes;
}

bool is_in_use(const char* path) {
  constexpr time_t kMoment = 60;
  const FileHandle file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.is_open()) return errno != ENOENT && errno != ELOOP;
  struct stat status {};
  if (fstat(descriptor_of(file), &status) != 0) return true;
  if (!S_ISREG(status.st_mode)) return false;
  bool locked = false;
  return time(nullptr) - status.st_mtime < kMoment ||
         range_locked_by_other(file, 0, 0, F_WRLCK, locked) != 0 || locked;
}

// ---- FileWriter

int FileWriter::make(const char* path, NewFileAccess access) {
  close();
  if (const int failed = make_exclusively(path, access, handle_)) return failed;
  // Some file systems have no locks; a new file there counts as in use for a minute.
  static_cast<void>(set_byte_lock(handle_, F_WRLCK, kFileAliveLock, 1));
  return 0;
}

int FileWriter::make_again(const char* path) {
  close();
  const int not_removed = file_remove(path);
  if (not_removed == 0) return make(path);
  if (not_removed != EACCES && not_removed != EPERM && not_removed != EROFS) return not_removed;
  if (const int failed = open_to_append(path, 0, handle_)) return failed;
  if (ftruncate(descriptor_of(handle_), 0) == 0) return 0;
  const int failed = system_error();
  close();
  return failed;
}

int FileWriter::open_device(const char* path) {
  close();
  struct stat status {};
  if (stat(path, &status) != 0) return system_error();
  if (S_ISREG(status.st_mode)) return ENXIO;
  handle_ = FileHandle(open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (!handle_.is_open()) return system_error();
  // Another file may have taken the name since stat.
  if (fstat(descriptor_of(handle_), &status) == 0 && !S_ISREG(status.st_mode)) return 0;
  close();
  return ENXIO;
}

int FileWriter::write(std::string_view bytes) {
  return write_all(handle_, bytes);
}

int FileWriter::take_access(const char* like) {
  return take_access_of(handle_, like);
}

int FileWriter::sync() {
  return fsync(descriptor_of(handle_)) == 0 ? 0 : system_error();
}

LibraryFile FileWriter::share() const {
  return fcntl(descriptor_of(handle_), F_DUPFD_CLOEXEC, 0);
}

// ---- Files by their names

int file_append(const char* path, std::string_view bytes) {
  FileHandle file;
  if (const int failed = open_to_append(path, O_CREAT, file)) return failed;
  const int failed = write_all(file, bytes);
  const int not_closed = file.close();
  return failed != 0 ? failed : not_closed;
}

int file_replace(const char* from, const char* to) {
  if (std::rename(from, to) != 0) return system_error();
  return file_sync_directory(to);  // a name is durable when its directory is
}

int file_link(const char* from, const char* to) {
  if (link(from, to) != 0) return system_error();
  return file_sync_directory(to);
}

int file_remove(const char* path) {
  return unlink(path) != 0 && errno != ENOENT ? system_error() : 0;
}

int file_remove_directory(const char* path) {
  return rmdir(path) != 0 && errno != ENOENT ? system_error() : 0;
}

int file_make_own_directory(const char* path) {
  return mkdir(path, S_IRWXU) == 0 ? 0 : system_error();
}

int file_remove_tree(const char* path) {
  std::error_code failed;
  std::filesystem::remove_all(path, failed);
  return system_result(failed.value());
}

}  // namespace marigold::inner
