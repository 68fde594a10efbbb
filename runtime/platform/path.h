// SPDX-License-Identifier: GPL-3.0-or-later
// Paths of files as texts: put together and taken apart by the rules of the system. On POSIX
// systems "/" separates names, and begins an absolute path. On Windows "\" separates as well, and
// "C:" begins a path of a drive. A path that is made here has "/", which all systems take.
//
// Nothing here asks the system for files. The views belong to the given path.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace marigold::inner {

// ---- Rules of the system

bool path_separates(char character);

// Returns the length of the beginning that no name is part of: 1 for "/a", 0 for "a".
std::size_t path_root(std::string_view path);

// Returns the character between the directories of a list such as PATH.
char path_list_separator();

// Returns the directory for temporary files that the user has set, else that of the system.
std::string path_for_temporary_files();

// ---- Paths

// Returns the path of a name in a directory, with one separator between; the name for the directory
// "". The name may be a path itself.
std::string path_join(std::string_view directory, std::string_view name);

// Returns the name at the end: "c" of "a/b/c", "" of "a/b/".
std::string_view path_name(std::string_view path);

// Returns the path before that name: "a/b" of "a/b/c", "/" of "/a", "" of "a".
std::string_view path_directory(std::string_view path);

// Returns the path of another name in the directory of this path.
std::string path_beside(std::string_view path, std::string_view name);

// Whether the path is more than a name.
bool path_has_directory(std::string_view path);

// Returns the path without the separators at its end: "a" of "a//", "/" of "//".
std::string_view path_without_end(std::string_view path);

}  // namespace marigold::inner
