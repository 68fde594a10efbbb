// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/path.h"

#include <array>
#include <cstdlib>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

bool path_separates(char character) {
  return character == '/' || character == '\\';
}

// A drive may stand before the first separator: "C:/". Two of them begin the name of another
// machine.
std::size_t path_root(std::string_view path) {
  const bool has_drive = path.size() > 1 && path[1] == ':';
  std::size_t length = has_drive ? 2 : 0;
  if (length < path.size() && path_separates(path[length])) ++length;
  return length;
}

char path_list_separator() {
  return ';';
}

// TMPDIR as on other systems, else what the system has.
std::string path_for_temporary_files() {
  const char* const directory = std::getenv("TMPDIR");
  if (directory != nullptr && *directory != '\0') return directory;
  std::array<wchar_t, MAX_PATH + 1> wide{};
  std::array<char, 4 * wide.size()> path{};
  if (GetTempPathW(static_cast<DWORD>(wide.size()), wide.data()) == 0 ||
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), -1, path.data(), static_cast<int>(path.size()),
                          nullptr, nullptr) == 0)
    return ".";
  return std::string(path_without_end(path.data()));
}

}  // namespace marigold::inner
