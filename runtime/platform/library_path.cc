// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/library_path.h"

namespace marigold::inner {

std::filesystem::path library_path(std::string_view path) {
  return std::u8string(path.begin(), path.end());
}

std::string path_of_library(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return {text.begin(), text.end()};
}

}  // namespace marigold::inner
