// Where data files lie: each path class has a directory of its own.
#pragma once

#include <string>

#include "runtime/data/definition/definition.h"

namespace marigold {

// The data directory of a path class, without a slash at its end: DATA_DIRECTORY with the class's
// number for each "%p".
std::string data_directory(int path_class);

// The path of a file without ".dat" and the like: the explicit one, or the file's name, in the case
// in which it is defined, in the data directory of its class.
std::string data_path(const FileDefinition& file);

// Called before a file is made: makes the data directory of its class if it is missing. Nothing for
// an explicit path, whose directory is the application's. 0, or the system's error number.
int data_make_directory(const FileDefinition& file);

}  // namespace marigold
