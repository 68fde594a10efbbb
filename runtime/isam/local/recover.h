// SPDX-License-Identifier: GPL-3.0-or-later
// Recovers the records of a data file whose header is damaged.
#pragma once

#include <span>

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

// Does the work of isrecover. Results: 0, or the number for iserrno.
int file_recover(const OpenRequest& request, std::uint32_t record_length,
                 std::span<const KeyDescription> keys, IsRecoverReport& report,
                 const IsWatch& watch);

}  // namespace marigold::inner::isam
