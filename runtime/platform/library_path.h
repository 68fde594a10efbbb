// SPDX-License-Identifier: GPL-3.0-or-later
// Paths of the C++ standard library from paths of the runtime, and back. On Windows the library
// takes a plain text for something else than UTF-8, so nothing else makes such a path.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace marigold::inner {

std::filesystem::path library_path(std::string_view path);

// Returns the path with "/" between its names.
std::string path_of_library(const std::filesystem::path& path);

}  // namespace marigold::inner
