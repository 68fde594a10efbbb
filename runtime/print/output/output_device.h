// SPDX-License-Identifier: GPL-3.0-or-later
// The devices on which a list is printed.
#pragma once

#include "runtime/print/output/output_channel.h"

namespace marigold::inner {

// The screen: the files that the viewer shows (screen_output.h). The caller has started them; the
// device's close ends them.
extern const OutputDevice kScreenDevice;

}  // namespace marigold::inner
