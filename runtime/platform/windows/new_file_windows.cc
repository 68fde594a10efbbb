// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/new_file_steps.h"

#include <aclapi.h>
#include <bcrypt.h>
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <utility>

#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

// ---- Access

// Finds the user of this process, or, if the system does not say, a file's owner, whoever that is.
void find_user(std::span<std::byte, SECURITY_MAX_SID_SIZE> sid) {
  HANDLE token = nullptr;
  alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> bytes{};
  DWORD length = 0;
  const auto* const user = reinterpret_cast<const TOKEN_USER*>(bytes.data());
  const bool opened = OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) != 0;
  const bool found =
      opened && GetTokenInformation(token, TokenUser, bytes.data(), bytes.size(), &length) != 0 &&
      CopySid(SECURITY_MAX_SID_SIZE, sid.data(), user->User.Sid) != 0;
  if (opened) CloseHandle(token);
  if (found) return;
  SID_IDENTIFIER_AUTHORITY creator = SECURITY_CREATOR_SID_AUTHORITY;
  InitializeSid(sid.data(), &creator, 1);
  *GetSidSubAuthority(sid.data(), 0) = SECURITY_CREATOR_OWNER_RIGHTS_RID;
}

// Rights for the user of this process alone. Wine takes rights of "the owner, whoever that is" for
// nobody's.
struct OwnerOnly {
  OwnerOnly() {
    find_user(owner_sid);
    PSID owner = owner_sid.data();
    auto* const rights = reinterpret_cast<ACL*>(list.data());
    InitializeAcl(rights, static_cast<DWORD>(list.size()), ACL_REVISION);
    AddAccessAllowedAceEx(rights, ACL_REVISION, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE,
                          FILE_ALL_ACCESS, owner);
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, rights, FALSE);
    SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
  }

  alignas(DWORD) std::array<std::byte, SECURITY_MAX_SID_SIZE> owner_sid{};
  alignas(DWORD) std::array<std::byte, 256> list{};
  SECURITY_DESCRIPTOR descriptor{};
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
};

// Gives an open file the access control list that its directory gives its files.
int set_list_of_directory(const FileHandle& file) {
  ACL empty{};
  InitializeAcl(&empty, sizeof empty, ACL_REVISION);
  const SECURITY_INFORMATION kinds =
      DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION;
  return result_of(
      SetSecurityInfo(handle_of(file), SE_FILE_OBJECT, kinds, nullptr, nullptr, &empty, nullptr));
}

// Gives an open file this list as it is, with what the other file has taken over from its directory,
// and no more: SetSecurityInfo would add what the new directory gives.
int set_list_of(const FileHandle& file, PSECURITY_DESCRIPTOR descriptor) {
  constexpr SECURITY_DESCRIPTOR_CONTROL kAsked = SE_DACL_AUTO_INHERIT_REQ;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  if (GetSecurityDescriptorControl(descriptor, &control, &revision) == 0) return windows_error();
  // Without this request the system forgets which rights come from the directory.
  if ((control & SE_DACL_AUTO_INHERITED) != 0 &&
      SetSecurityDescriptorControl(descriptor, kAsked, kAsked) == 0)
    return windows_error();
  return SetKernelObjectSecurity(handle_of(file), DACL_SECURITY_INFORMATION, descriptor) != 0
             ? 0
             : windows_error();
}

constexpr DWORD kNewFileAccess = GENERIC_READ | GENERIC_WRITE | READ_CONTROL | WRITE_DAC;

// Opens a regular file that has no other name and was not reached through a link, and goes to its
// end.
int open_to_append(const char* path, DWORD disposition, FileHandle& file) {
  FileHandle opened;
  if (const int failed = open_file(path, GENERIC_READ | GENERIC_WRITE, disposition, opened,
                                   FILE_FLAG_OPEN_REPARSE_POINT))
    return failed;
  BY_HANDLE_FILE_INFORMATION status{};
  if (GetFileType(handle_of(opened)) != FILE_TYPE_DISK) return EINVAL;
  if (GetFileInformationByHandle(handle_of(opened), &status) == 0) return windows_error();
  if ((status.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return system_result(ELOOP);
  if (status.nNumberOfLinks > 1) return EMLINK;
  const LARGE_INTEGER none{};
  if (SetFilePointerEx(handle_of(opened), none, nullptr, FILE_END) == 0) return windows_error();
  file = std::move(opened);
  return 0;
}

int write_all(const FileHandle& file, std::string_view bytes) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(bytes.size(), kMost));
    if (WriteFile(handle_of(file), bytes.data(), count, &written, nullptr) == 0)
      return windows_error();
    if (written == 0) return ENOSPC;
    bytes.remove_prefix(written);
  }
  return 0;
}

int make_directory(const char* path, SECURITY_ATTRIBUTES* security) {
  const WidePath wide(path);
  if (const int failed = wide.failed()) return failed;
  return CreateDirectoryW(wide.text(), security) != 0 ? 0 : windows_error();
}

}  // namespace

int make_exclusively(const char* path, NewFileAccess access, FileHandle& file) {
  OwnerOnly owner_only;
  SECURITY_ATTRIBUTES* const security =
      access == NewFileAccess::kOwnerOnly ? &owner_only.attributes : nullptr;
  return open_file(path, kNewFileAccess, CREATE_NEW, file, FILE_FLAG_OPEN_REPARSE_POINT, security);
}

int take_access_of(const FileHandle& file, const char* like) {
  FileHandle model;
  const int failed = open_file(like, READ_CONTROL, OPEN_EXISTING, model,
                               FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS);
  if (failed == ENOENT) return set_list_of_directory(file);
  if (failed != 0) return failed;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error = GetSecurityInfo(handle_of(model), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                      nullptr, nullptr, nullptr, nullptr, &descriptor);
  if (error != ERROR_SUCCESS) return result_of(error);
  const int result = set_list_of(file, descriptor);
  LocalFree(descriptor);
  return result;
}

std::array<unsigned char, 8> random_bytes() {
  std::array<unsigned char, 8> bytes{};
  constexpr ULONG kSystemsChoice = BCRYPT_USE_SYSTEM_PREFERRED_RNG;
  if (BCryptGenRandom(nullptr, bytes.data(), bytes.size(), kSystemsChoice) != 0) std::abort();
  return bytes;
}

bool is_in_use(const char* path) {
  constexpr std::int64_t kMoment = 60LL * 10'000'000;  // a minute, in the system's units
  constexpr std::uint64_t kAll = (std::uint64_t{1} << 63) - 1;
  FileHandle file;
  const int failed = open_regular(path, false, file, false, FILE_FLAG_OPEN_REPARSE_POINT);
  if (failed != 0) return failed == EACCES || failed == EBUSY;
  FILE_BASIC_INFO times{};
  if (GetFileInformationByHandleEx(handle_of(file), FileBasicInfo, &times, sizeof times) == 0)
    return true;
  LARGE_INTEGER now{};
  GetSystemTimePreciseAsFileTime(reinterpret_cast<FILETIME*>(&now));
  if (now.QuadPart - times.LastWriteTime.QuadPart < kMoment) return true;
  if (try_lock(file, 0, kAll, true) != 0) return true;
  return unlock_range(file, 0, kAll) != 0;
}

// ---- FileWriter

int FileWriter::make(const char* path, NewFileAccess access) {
  close();
  if (const int failed = make_exclusively(path, access, handle_)) return failed;
  // Some file systems have no locks; a new file there counts as in use for a minute.
  static_cast<void>(try_lock(handle_, kFileAliveLock, 1, true));
  return 0;
}

int FileWriter::make_again(const char* path) {
  close();
  const int not_removed = file_remove(path);
  if (not_removed == 0) return make(path);
  if (not_removed != EACCES && not_removed != EPERM && not_removed != EROFS) return not_removed;
  return open_to_append(path, TRUNCATE_EXISTING, handle_);
}

int FileWriter::open_device(const char* path) {
  close();
  FileHandle file;
  if (const int failed = open_file(path, GENERIC_WRITE, OPEN_EXISTING, file)) return failed;
  if (GetFileType(handle_of(file)) == FILE_TYPE_DISK) return ENXIO;
  handle_ = std::move(file);
  return 0;
}

int FileWriter::write(std::string_view bytes) {
  return write_all(handle_, bytes);
}

int FileWriter::take_access(const char* like) {
  return take_access_of(handle_, like);
}

int FileWriter::sync() {
  return FlushFileBuffers(handle_of(handle_)) != 0 ? 0 : windows_error();
}

LibraryFile FileWriter::share() const {
  HANDLE copy = nullptr;
  const HANDLE self = GetCurrentProcess();
  if (DuplicateHandle(self, handle_of(handle_), self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS) == 0)
    return -1;
  const int number = _open_osfhandle(reinterpret_cast<std::intptr_t>(copy), _O_BINARY | _O_RDWR);
  if (number < 0) CloseHandle(copy);
  return number;
}

// ---- Files by their names

int file_append(const char* path, std::string_view bytes) {
  FileHandle file;
  if (const int failed = open_to_append(path, OPEN_ALWAYS, file)) return failed;
  const int failed = write_all(file, bytes);
  const int not_closed = file.close();
  return failed != 0 ? failed : not_closed;
}

int file_make_own_directory(const char* path) {
  OwnerOnly owner_only;
  return make_directory(path, &owner_only.attributes);
}

}  // namespace marigold::inner
