// Where data files lie: each path class has a directory of its own.
#pragma once

#include <string>

#include "runtime/data/access/data_handle.h"

namespace marigold {

// The data directory of a path class, without a slash at its end: DATA_DIRECTORY with the class's
// number for each "%p".
std::string data_directory(int path_class);

// The path of a file without ".dat" and the like: the file's name, in the case in which it is
// defined, in the data directory of its class; for a handle its explicit path, if it has one.
std::string data_path(const FileDefinition& file);
std::string data_path(const DataFile& file);

// Makes the data directory of a class if it is missing. 0, or the system's error number.
int data_make_directory(int path_class);
// The same for a file that is about to be made. Nothing for an explicit path, whose directory is
// the application's.
int data_make_directory(const DataFile& file);

}  // namespace marigold
