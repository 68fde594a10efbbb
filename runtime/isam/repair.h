// Making the index of a pair of files again at the operator's wish.
#pragma once

#include "runtime/isam/file.h"
#include "runtime/isam/isam.h"

namespace marigold::isam {

// As isrebuild. Results: 0, or the number for iserrno.
int file_rebuild(const OpenRequest& request, IsRebuildReport& report, const IsWatch& watch);

}  // namespace marigold::isam
