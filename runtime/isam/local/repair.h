// SPDX-License-Identifier: GPL-3.0-or-later
// Rebuilds the index of a pair of files at the operator's request.
#pragma once

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Does the work of isrebuild. Results: 0, or the number for iserrno.
int file_rebuild(const OpenRequest& request, IsRebuildReport& report, const IsWatch& watch);

}  // namespace marigold::inner::isam
