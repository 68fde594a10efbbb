// SPDX-License-Identifier: GPL-3.0-or-later
// Files get, change and lose their names.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <tuple>

#include "runtime/platform/library_path.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

// Another program, a virus scanner above all, may have a file open for a moment in a way that keeps
// it from being replaced or removed.
constexpr int kTries = 50;
constexpr DWORD kPauseMilliseconds = 10;

template <typename Call>
int try_for_a_while(Call call) {
  for (int i = 1;; ++i) {
    if (call()) return 0;
    const DWORD error = GetLastError();
    const bool may_pass = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
    if (!may_pass || i == kTries) return result_of(error);
    Sleep(kPauseMilliseconds);
  }
}

// Renames as other systems do: the name leads to the old file or to the new one at any moment, and
// programs that have the old one open keep it. File systems that cannot do so do it in two steps.
bool replace_open(HANDLE file, const wchar_t* to) {
  constexpr DWORD kReplace =
      0x1 | 0x2 | 0x40;  // an existing file, at once, also if it is read-only
  constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
  struct Rename {
    DWORD flags;
    HANDLE directory;
    DWORD bytes;
    wchar_t name[4096];
  };
  static_assert(offsetof(Rename, name) == offsetof(FILE_RENAME_INFO, FileName));
  Rename rename{};
  const std::size_t length = std::wcslen(to);
  rename.flags = kReplace;
  rename.bytes = static_cast<DWORD>(length * sizeof(wchar_t));
  std::memcpy(rename.name, to, rename.bytes);
  return SetFileInformationByHandle(file, kRenameInfoEx, &rename, sizeof rename) != 0;
}

// Removes as other systems do, with the name gone at once.
bool remove_open(HANDLE file) {
  constexpr auto kDispositionInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
  DWORD flags = 0x1 | 0x2 | 0x10;  // remove, at once, also if it is read-only
  return SetFileInformationByHandle(file, kDispositionInfoEx, &flags, sizeof flags) != 0;
}

int change_names(const char* from, const char* to, BOOL (*change)(const wchar_t*, const wchar_t*)) {
  const WidePath old_name(from);
  const WidePath new_name(to);
  if (const int failed = old_name.failed() != 0 ? old_name.failed() : new_name.failed())
    return failed;
  return try_for_a_while([&] { return change(old_name.text(), new_name.text()) != 0; });
}

bool is_plain_directory(const wchar_t* path) {
  constexpr DWORD kKinds = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  const DWORD attributes = GetFileAttributesW(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kKinds) == FILE_ATTRIBUTE_DIRECTORY;
}

int missing_is_done(int failed) {
  return failed == ENOENT ? 0 : failed;
}

BOOL move(const wchar_t* from, const wchar_t* to) {
  return MoveFileExW(from, to, MOVEFILE_WRITE_THROUGH);
}

int remove_named(const wchar_t* path) {
  return missing_is_done(try_for_a_while([&] { return DeleteFileW(path) != 0; }));
}

// A name beside a path for a file that gives its own up, like new_file_name's, without the heap: a
// file is removed when memory is short as well.
class AsideName {
 public:
  explicit AsideName(const char* path) {
    const std::string_view name = path_name(path);
    const auto before = static_cast<std::size_t>(name.data() - path);
    constexpr std::size_t kAdded = 1 + 1 + 2 * std::tuple_size_v<decltype(random_bytes())>;
    if (before + name.size() + kAdded >= text_.size()) return;
    char* end = std::copy_n(path, before, text_.data());
    *end++ = '.';
    end = std::ranges::copy(name, end).out;
    *end++ = '.';
    for (const unsigned char byte : random_bytes()) {
      *end++ = "0123456789abcdef"[byte >> 4];
      *end++ = "0123456789abcdef"[byte & 15];
    }
  }
  // Empty if the name would be too long.
  [[nodiscard]] const char* text() const { return text_.data(); }

 private:
  std::array<char, 4096> text_{};
};

// Where the system cannot remove a name at once, a file that somebody has open keeps its name until
// it is closed, and nobody can open or make a file of that name. So it goes aside first.
int remove_in_two_steps(const char* path) {
  const AsideName aside(path);
  if (*aside.text() == '\0') return ENAMETOOLONG;
  if (const int failed = change_names(path, aside.text(), move)) return missing_is_done(failed);
  const int failed = remove_named(WidePath(aside.text()).text());
  if (failed != 0) static_cast<void>(change_names(aside.text(), path, move));
  return failed;
}

// Where the system cannot rename over a file that somebody has open, the file goes aside first. A
// program that looks between the two steps finds no file of this name.
int replace_in_two_steps(const char* from, const char* to) {
  const AsideName aside(to);
  if (*aside.text() == '\0') return ENAMETOOLONG;
  for (int i = 1;; ++i) {
    const int not_aside = change_names(to, aside.text(), move);
    if (not_aside != 0 && not_aside != ENOENT) return not_aside;
    const int failed = change_names(from, to, move);
    // Somebody else has replaced the file between the two steps, so it is theirs that gives way.
    const bool again = failed == EEXIST && i < kTries;
    if (not_aside == 0 && (failed == 0 || again))
      static_cast<void>(remove_named(WidePath(aside.text()).text()));
    else if (not_aside == 0)
      static_cast<void>(change_names(aside.text(), to, move));
    if (!again) return failed;
  }
}

// As on other systems, an empty directory gives way to a directory, and none to a file. The system
// would only deny the access, as it does for a file that is open and may go aside.
int give_way(const wchar_t* from, const wchar_t* to) {
  if (!is_plain_directory(to)) return 0;
  if (!is_plain_directory(from)) return EISDIR;
  return RemoveDirectoryW(to) != 0 ? 0 : windows_error();
}

}  // namespace

int file_replace(const char* from, const char* to) {
  const WidePath name(to);
  if (const int failed = name.failed()) return failed;
  FileHandle file;
  if (const int failed = open_file(from, DELETE | SYNCHRONIZE, OPEN_EXISTING, file,
                                   FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS))
    return failed;
  const WidePath old_name(from);
  if (const int failed = give_way(old_name.text(), name.text())) return failed;
  if (replace_open(handle_of(file), name.text())) return 0;
  if (const int failed = file.close()) return failed;
  constexpr DWORD kAtOnce = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  if (MoveFileExW(old_name.text(), name.text(), kAtOnce) != 0) return 0;
  const int failed = windows_error();
  return failed == EACCES || failed == EBUSY ? replace_in_two_steps(from, to) : failed;
}

int file_link(const char* from, const char* to) {
  return change_names(from, to, [](const wchar_t* old_name, const wchar_t* new_name) {
    return CreateHardLinkW(new_name, old_name, nullptr);
  });
}

int file_remove(const char* path) {
  const WidePath wide(path);
  if (const int failed = wide.failed()) return failed;
  if (is_plain_directory(wide.text())) return EISDIR;  // the system would only deny the access
  FileHandle file;
  const int failed =
      open_file(path, DELETE | SYNCHRONIZE, OPEN_EXISTING, file, FILE_FLAG_OPEN_REPARSE_POINT);
  if (failed == ENOENT) return 0;
  if (failed == 0 && remove_open(handle_of(file))) return 0;
  const DWORD error = failed == 0 ? GetLastError() : ERROR_SUCCESS;
  static_cast<void>(file.close());
  const bool is_unknown = error == ERROR_INVALID_PARAMETER || error == ERROR_INVALID_FUNCTION ||
                          error == ERROR_NOT_SUPPORTED;
  return is_unknown ? remove_in_two_steps(path) : remove_named(wide.text());
}

int file_remove_directory(const char* path) {
  const WidePath wide(path);
  if (const int failed = wide.failed()) return failed;
  return missing_is_done(try_for_a_while([&] { return RemoveDirectoryW(wide.text()) != 0; }));
}

// A link to a directory is removed, and not what lies behind it.
int file_remove_tree(const char* path) {
  const WidePath wide(path);
  if (const int failed = wide.failed()) return failed;
  const DWORD attributes = GetFileAttributesW(wide.text());
  if (attributes == INVALID_FILE_ATTRIBUTES) return missing_is_done(windows_error());
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return file_remove(path);
  int failed = 0;
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    std::error_code error;
    for (std::filesystem::directory_iterator at(library_path(path), error), end;
         !error && at != end; at.increment(error)) {
      const int one = file_remove_tree(path_of_library(at->path()).c_str());
      if (failed == 0) failed = one;
    }
    if (failed == 0 && error) failed = system_result(error.value());
  }
  return failed != 0 ? failed : file_remove_directory(path);
}

}  // namespace marigold::inner
