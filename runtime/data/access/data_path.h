// SPDX-License-Identifier: GPL-3.0-or-later
// The paths of data files. Each path class has a data directory of its own: a directory of the
// system, or an address of a schema in a database cluster (cluster_address.h). The path of a file in
// a cluster is the file's address.
#pragma once

#include <string>
#include <string_view>

#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

// Returns the path of a file without a suffix such as ".dat": the file's name, in the case of its
// definition, in the data directory of its class. A handle with an explicit path has that path.
std::string data_path(const FileDefinition& file);
std::string data_path(const DataFile& file);

// Whether the path is an address in a cluster.
bool data_in_cluster(const DataFile& file);

// Makes the data directory of a class if it is missing. Does nothing for one in a cluster, which the
// first file makes. Returns 0, or the system's error number.
int data_make_directory(int path_class);
// Makes the data directory of a file that is about to be made. Does nothing for an explicit path,
// because the application is responsible for its directory.
int data_make_directory(const DataFile& file);

// ---- Paths of either kind; names are ISO 8859-1, as in definitions

// Returns the data directory of a class by a value of DATA_DIRECTORY, in which "%p" stands for the
// number of the class.
std::string data_directory_by(std::string_view pattern, int path_class);

// Returns the path of a name in a data directory.
std::string data_path_in(const std::string& directory, std::string_view name);
// Returns the data directory of a path.
std::string data_path_directory(const std::string& path);
// Returns the path of the name with this added: "data/4/STOCK.ver".
std::string data_path_with(const std::string& path, std::string_view suffix);
// Returns a path as messages show it: without the password that an address should not have.
std::string data_path_shown(std::string_view path);

}  // namespace marigold::inner
