// SPDX-License-Identifier: GPL-3.0-or-later
// Sends the printer's bytes of a list to the printer.
#pragma once

#include "runtime/print/viewer/viewer.h"

namespace marigold {

// Until their end, or until the user aborts. A file that cannot be read and a printer that is not
// there are told by a one-line message.
void viewer_print(const ViewerJob& job);

}  // namespace marigold
