// SPDX-License-Identifier: GPL-3.0-or-later
#include <errno.h>
#include <stdint.h>
#include <windows.h>

static int error_number(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_NETPATH:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      return EACCES;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_TOO_MANY_OPEN_FILES:
      return EMFILE;
    case ERROR_NOT_ENOUGH_MEMORY:
      return ENOMEM;
    case ERROR_DISK_FULL:
      return ENOSPC;
    case ERROR_WRITE_PROTECT:
      return EROFS;
    default:
      return EIO;
  }
}

static DWORD access_of(int flags) {
  switch (flags & O_ACCMODE) {
    case O_RDONLY:
      return GENERIC_READ;
    case O_WRONLY:
      return GENERIC_WRITE;
    default:
      return GENERIC_READ | GENERIC_WRITE;
  }
}

// O_TRUNC is not among these: CREATE_ALWAYS fails if another process has mapped the file.
static DWORD disposition_of(int flags) {
  if (!(flags & O_CREAT)) return OPEN_EXISTING;
  return flags & O_EXCL ? CREATE_NEW : OPEN_ALWAYS;
}

int gdbm_open_shared(const char* name, int flags, ...) {
  const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE file = CreateFileA(name, access_of(flags), share, NULL, disposition_of(flags),
                            FILE_ATTRIBUTE_NORMAL, NULL);
  if (file == INVALID_HANDLE_VALUE || (flags & O_TRUNC && !SetEndOfFile(file))) {
    errno = error_number(GetLastError());
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    return -1;
  }
  const int descriptor = _open_osfhandle((intptr_t)file, O_BINARY | O_NOINHERIT);
  if (descriptor < 0) CloseHandle(file);
  return descriptor;
}

// A byte far beyond any contents stands for the file: Windows lets nobody read or write locked
// bytes.
int gdbm_flock(int descriptor, int operation) {
  const HANDLE file = (HANDLE)_get_osfhandle(descriptor);
  OVERLAPPED place = {0};
  place.OffsetHigh = 0x40000000;
  const DWORD kind = operation & LOCK_EX ? LOCKFILE_EXCLUSIVE_LOCK : 0;
  const BOOL done = operation & LOCK_UN
                        ? UnlockFileEx(file, 0, 1, 0, &place)
                        : LockFileEx(file, LOCKFILE_FAIL_IMMEDIATELY | kind, 0, 1, 0, &place);
  if (done) return 0;
  errno = GetLastError() == ERROR_LOCK_VIOLATION ? EWOULDBLOCK : error_number(GetLastError());
  return -1;
}
