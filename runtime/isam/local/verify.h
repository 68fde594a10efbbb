// SPDX-License-Identifier: GPL-3.0-or-later
// Verification of a whole file, for the operator's check and for tests.
#pragma once

#include <string>
#include <vector>

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Returns a line for each finding; none for a sound file. Verified are:
//   trees   order, bounds, levels, no empty node, links between leaves, numbers of entries, an
//           entry for every record in every tree
//   pages   each is a node of one tree or free, once
//   slots   each holds a whole record or is in one chain, once
// The caller is the writer, or has the file for itself.
std::vector<std::string> verify_file(File& file, const IsWatch& watch = {});

}  // namespace marigold::inner::isam
