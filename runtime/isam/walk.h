// The walk over a whole file that looks whether everything fits: what the operator's check and the
// tests rely on.
#pragma once

#include <string>
#include <vector>

#include "runtime/isam/file.h"
#include "runtime/isam/isam.h"

namespace marigold::isam {

// What does not fit, a line each; empty for a sound file. Looked at:
//   trees   order, bounds, levels, fill, links between leaves, numbers of entries, an entry for
//   every record in every tree pages   each is a node of one tree or free, once slots   each holds
//   a whole record or is free, once
// The caller is the writer, or has the file for itself.
std::vector<std::string> verify_file(File& file, const IsWatch& watch = {});

}  // namespace marigold::isam
