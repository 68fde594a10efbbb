// SPDX-License-Identifier: GPL-3.0-or-later
// Steps of making files that the kinds of files in this folder share on POSIX systems.
//
// Results: 0 for done, else the system's error number.
#pragma once

#include "runtime/platform/new_file.h"

namespace marigold::inner {

// Makes an empty regular file for reading and writing.
int make_exclusively(const char* path, NewFileAccess access, FileHandle& file);

// FileWriter::take_access, for any open file.
int take_access_of(const FileHandle& file, const char* like);

}  // namespace marigold::inner
