// SPDX-License-Identifier: GPL-3.0-or-later
// The output channel: takes the lines of a list with their markers (meta_marker.h), counts lines
// and pages, inserts header and footer texts, and passes the rest to a device.
//
// A process has one channel. Writing without an open channel is system error 45; opening an open
// one is 42, closing a closed one 43, a marker of no known name 5, a header or footer text of more
// than 1,000 characters 44.
#pragma once

#include "marigold/output.h"  // IWYU pragma: export
#include "runtime/print/output/meta_marker.h"

namespace marigold::inner {

inline constexpr int kTotals = 4;

}  // namespace marigold::inner
