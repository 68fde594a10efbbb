// SPDX-License-Identifier: GPL-3.0-or-later
// Results of the operations on data files.
#pragma once

#include "marigold/data.h"  // IWYU pragma: export

namespace marigold::inner {

// Result within this room: the operation is to be repeated after changes_make_good.
inline constexpr int kDataUnfinished = -1;

}  // namespace marigold::inner
