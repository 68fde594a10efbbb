// SPDX-License-Identifier: GPL-3.0-or-later
// A look at an open file that does not read its records and trees.
#pragma once

#include <string>
#include <vector>

#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Do the work of isglance and isfill. Results: 0, or the number for iserrno.
int file_glance(File& file, std::vector<std::string>& findings);
int file_fill(File& file, double& fill);

}  // namespace marigold::inner::isam
