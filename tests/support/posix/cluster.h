// SPDX-License-Identifier: GPL-3.0-or-later
// Data in a database cluster, for a program that runs cases of directories over a cluster as well.
// All tests of the program are skipped where no server can be made.
#pragma once

#include <string>

namespace marigold::inner::test {

// The address of a database of shared_server(), the same at each call.
std::string cluster_database();
// Returns a new value of DATA_DIRECTORY: schemas of that database.
std::string new_schemas();
// Waits until the server has noticed the end of all dead processes.
void forget_sessions_of_the_dead();

}  // namespace marigold::inner::test
