// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/windows/system_windows.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/remote_file_windows.h"

namespace marigold::inner {
namespace {

struct ErrorNumber {
  DWORD windows;
  int number;
};
constexpr DWORD kQuotaExceeded = 1295;  // ERROR_DISK_QUOTA_EXCEEDED
constexpr ErrorNumber kErrors[] = {
    {ERROR_SUCCESS, 0},
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_SHARING_VIOLATION, EBUSY},
    {ERROR_USER_MAPPED_FILE, EBUSY},
    {ERROR_LOCK_VIOLATION, EAGAIN},
    {ERROR_LOCK_FAILED, EAGAIN},
    {ERROR_IO_PENDING, EAGAIN},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {kQuotaExceeded, ENOSPC},
    {ERROR_FILE_TOO_LARGE, EFBIG},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_OUTOFMEMORY, ENOMEM},
    {ERROR_COMMITMENT_LIMIT, ENOMEM},
    {ERROR_NO_SYSTEM_RESOURCES, ENOMEM},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_INVALID_HANDLE, EBADF},
    {ERROR_BROKEN_PIPE, EPIPE},
    {ERROR_NO_DATA, EPIPE},
    {ERROR_PIPE_NOT_CONNECTED, EPIPE},
    {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},
    {ERROR_NOT_SAME_DEVICE, EXDEV},
    {ERROR_TOO_MANY_LINKS, EMLINK},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_BUFFER_OVERFLOW, ENAMETOOLONG},
    {ERROR_PRIVILEGE_NOT_HELD, EPERM},
    {ERROR_INVALID_PARAMETER, EINVAL},
    {ERROR_NOT_SUPPORTED, ENOTSUP},
    {ERROR_INVALID_FUNCTION, ENOTSUP},
    {ERROR_CALL_NOT_IMPLEMENTED, ENOTSUP},
};

// The system takes at most this many bytes in one call.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

OVERLAPPED place_of(std::uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}

// Whether the name that leads to the file without letters of drives is that of another machine.
bool has_name_of_network(HANDLE file) {
  constexpr std::wstring_view kNetwork = L"\\\\?\\UNC\\";
  std::array<wchar_t, 4096> name;
  const DWORD length = GetFinalPathNameByHandleW(file, name.data(), static_cast<DWORD>(name.size()),
                                                 VOLUME_NAME_DOS);
  return length < name.size() && std::wstring_view(name.data(), length).starts_with(kNetwork);
}

}  // namespace

bool (*remote_file_hook)() = nullptr;

// Not every file system of a network knows the first question.
bool is_remote(const FileHandle& file) {
  if (remote_file_hook != nullptr) return remote_file_hook();
  FILE_REMOTE_PROTOCOL_INFO protocol{};
  const HANDLE handle = handle_of(file);
  return GetFileInformationByHandleEx(handle, FileRemoteProtocolInfo, &protocol, sizeof protocol) !=
             0 ||
         has_name_of_network(handle);
}

int result_of(DWORD error) {
  const auto* const found = std::ranges::find(kErrors, error, &ErrorNumber::windows);
  return system_result(found == std::end(kErrors) ? EIO : found->number);
}

WidePath::WidePath(const char* path) {
  if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, text_.data(), kLongest) != 0)
    return;
  failed_ = GetLastError() == ERROR_INSUFFICIENT_BUFFER ? ENAMETOOLONG : EINVAL;
}

int open_file(const char* path, DWORD access, DWORD disposition, FileHandle& file, DWORD flags,
              SECURITY_ATTRIBUTES* security) {
  const WidePath wide(path);
  if (const int failed = wide.failed()) return failed;
  FileHandle opened =
      file_of(CreateFileW(wide.text(), access, kShareAll, security, disposition, flags, nullptr));
  if (!opened.is_open()) return windows_error();
  file = std::move(opened);
  return 0;
}

int open_regular(const char* path, bool writable, FileHandle& file, bool local, DWORD flags) {
  // With this flag a directory opens too and can be told from a file that nobody may open.
  flags |= FILE_FLAG_BACKUP_SEMANTICS;
  FileHandle opened;
  const DWORD access = GENERIC_READ | (writable ? GENERIC_WRITE : 0);
  if (const int failed = open_file(path, access, OPEN_EXISTING, opened, flags)) return failed;
  const HANDLE handle = handle_of(opened);
  if (GetFileType(handle) != FILE_TYPE_DISK) return EINVAL;
  BY_HANDLE_FILE_INFORMATION status{};
  if (GetFileInformationByHandle(handle, &status) == 0) return windows_error();
  if ((status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return EISDIR;
  if ((flags & FILE_FLAG_OPEN_REPARSE_POINT) != 0 &&
      (status.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
    return system_result(ELOOP);
  if (local && is_remote(opened)) return kOnNetworkDrive;
  file = std::move(opened);
  return 0;
}

int size_of_open(const FileHandle& file, std::uint64_t& bytes) {
  LARGE_INTEGER size{};
  if (GetFileSizeEx(handle_of(file), &size) == 0) return windows_error();
  bytes = static_cast<std::uint64_t>(size.QuadPart);
  return 0;
}

int read_at(const FileHandle& file, std::uint64_t offset, void* bytes, std::size_t count,
            std::size_t& got) {
  got = 0;
  while (got < count) {
    OVERLAPPED place = place_of(offset + got);
    DWORD taken = 0;
    const auto wanted = static_cast<DWORD>(std::min(count - got, kMostBytes));
    if (ReadFile(handle_of(file), static_cast<char*>(bytes) + got, wanted, &taken, &place) == 0) {
      if (GetLastError() == ERROR_HANDLE_EOF) return 0;
      return windows_error();
    }
    if (taken == 0) return 0;
    got += taken;
  }
  return 0;
}

int write_at(const FileHandle& file, std::uint64_t offset, const void* bytes, std::size_t count) {
  std::size_t written = 0;
  while (written < count) {
    OVERLAPPED place = place_of(offset + written);
    DWORD taken = 0;
    const auto wanted = static_cast<DWORD>(std::min(count - written, kMostBytes));
    if (WriteFile(handle_of(file), static_cast<const char*>(bytes) + written, wanted, &taken,
                  &place) == 0)
      return windows_error();
    if (taken == 0) return ENOSPC;
    written += taken;
  }
  return 0;
}

int name_of_open(const FileHandle& file, OpenFileName& name) {
  BY_HANDLE_FILE_INFORMATION status{};
  if (GetFileInformationByHandle(handle_of(file), &status) == 0) return windows_error();
  name = {.volume = status.dwVolumeSerialNumber,
          .number = std::uint64_t{status.nFileIndexHigh} << 32 | status.nFileIndexLow,
          .names = status.nNumberOfLinks};
  return 0;
}

bool is_open_file_at(const FileHandle& file, const char* path) {
  FileHandle other;
  OpenFileName opened;
  OpenFileName named;
  return open_file(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, other, FILE_FLAG_BACKUP_SEMANTICS) ==
             0 &&
         name_of_open(file, opened) == 0 && name_of_open(other, named) == 0 &&
         opened.volume == named.volume && opened.number == named.number;
}

int try_lock(const FileHandle& file, std::uint64_t offset, std::uint64_t count, bool exclusive) {
  OVERLAPPED place = place_of(offset);
  const DWORD flags = LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0);
  return LockFileEx(handle_of(file), flags, 0, static_cast<DWORD>(count),
                    static_cast<DWORD>(count >> 32), &place) != 0
             ? 0
             : windows_error();
}

int unlock_range(const FileHandle& file, std::uint64_t offset, std::uint64_t count) {
  OVERLAPPED place = place_of(offset);
  return UnlockFileEx(handle_of(file), 0, static_cast<DWORD>(count),
                      static_cast<DWORD>(count >> 32), &place) != 0
             ? 0
             : windows_error();
}

}  // namespace marigold::inner
