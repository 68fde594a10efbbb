// SPDX-License-Identifier: GPL-3.0-or-later
// Steps of making files that each system has in its own form, for the sources of this room alone.
//
// Results: 0 for done, else the system's error number.
#pragma once

#include <array>

#include "runtime/platform/new_file.h"

namespace marigold::inner {

// Makes an empty regular file for reading and writing. EEXIST if a file of any kind has the name.
int make_exclusively(const char* path, NewFileAccess access, FileHandle& file);

// FileWriter::take_access, for any open file.
int take_access_of(const FileHandle& file, const char* like);

// Returns bytes that nobody can predict.
std::array<unsigned char, 8> random_bytes();

// Whether a process holds a lock on the file, or has changed it within the last minute. A file that
// cannot be examined counts as in use.
bool is_in_use(const char* path);

}  // namespace marigold::inner
