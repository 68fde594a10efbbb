// SPDX-License-Identifier: GPL-3.0-or-later
// Gives back the space that deleted records have left.
#pragma once

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Does the work of iscompact. Results: 0, or the number for iserrno.
int file_compact(const OpenRequest& request, IsCompactReport& report, const IsWatch& watch);

}  // namespace marigold::inner::isam
