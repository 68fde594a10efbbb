// SPDX-License-Identifier: GPL-3.0-or-later
// Makes texts and words of the command line visible in messages.
#pragma once

#include <string>
#include <string_view>

#include "runtime/core/terminal_text.h"

namespace marigold::inner {

// Returns bytes for a message on standard error: on a terminal with control characters made
// visible, line ends included, else unchanged. The requested text itself goes to standard output
// unchanged.
inline std::string shown(std::string_view bytes) {
  return error_text(bytes, LineEnds::kShown);
}

}  // namespace marigold::inner
