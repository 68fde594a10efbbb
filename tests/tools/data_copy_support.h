// SPDX-License-Identifier: GPL-3.0-or-later
// Places for the tests of data directories of either kind.
#pragma once

#include "tests/tools/data_support.h"

namespace marigold::inner::test {

// Returns a value of DATA_DIRECTORY where no file is: of directories below the current one, or, in
// the program of a cluster, of schemas there.
extern std::string (*new_far_place)();

// Waits until a server has noticed the end of killed processes.
extern void (*forget_the_killed)();

// Returns the path of a file there; "" for the data directory of the class.
inline std::string in_place(std::string place, int path_class, const std::string& file) {
  if (const auto at = place.find("%p"); at != std::string::npos)
    place.replace(at, 2, std::to_string(path_class));
  return file.empty() ? place : place + "/" + file;
}

}  // namespace marigold::inner::test
