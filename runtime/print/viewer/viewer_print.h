// SPDX-License-Identifier: GPL-3.0-or-later
// Sends the printer's bytes of a list to the printer.
#pragma once

#include "runtime/print/viewer/viewer.h"

namespace marigold::inner {

// Sends the bytes until their end, or until the user aborts. A one-line message reports a file that
// cannot be read and a missing printer.
void viewer_print(const ViewerJob& job);

}  // namespace marigold::inner
