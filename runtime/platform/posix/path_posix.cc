// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/path.h"

#include <cstdlib>

namespace marigold::inner {

bool path_separates(char character) {
  return character == '/';
}

std::size_t path_root(std::string_view path) {
  return path.starts_with('/') ? 1 : 0;
}

char path_list_separator() {
  return ':';
}

std::string path_for_temporary_files() {
  const char* const directory = std::getenv("TMPDIR");
  return directory == nullptr || *directory == '\0' ? "/tmp" : directory;
}

}  // namespace marigold::inner
