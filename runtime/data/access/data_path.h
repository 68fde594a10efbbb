// SPDX-License-Identifier: GPL-3.0-or-later
// The paths of data files. Each path class has a data directory of its own.
#pragma once

#include <string>

#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

// Returns the path of a file without a suffix such as ".dat": the file's name, in the case of its
// definition, in the data directory of its class. A handle with an explicit path has that path.
std::string data_path(const FileDefinition& file);
std::string data_path(const DataFile& file);

// Makes the data directory of a class if it is missing. Returns 0, or the system's error number.
int data_make_directory(int path_class);
// Makes the data directory of a file that is about to be made. Does nothing for an explicit path,
// because the application is responsible for its directory.
int data_make_directory(const DataFile& file);

}  // namespace marigold::inner
