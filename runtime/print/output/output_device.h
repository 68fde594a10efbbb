// SPDX-License-Identifier: GPL-3.0-or-later
// The two devices that a list is printed on.
#pragma once

#include "runtime/print/output/output_channel.h"

namespace marigold {

// The screen: the files that the viewer shows (screen_output.h), which the caller has started. Its
// close ends them.
extern const OutputDevice kScreenDevice;

}  // namespace marigold
