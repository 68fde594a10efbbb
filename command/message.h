// SPDX-License-Identifier: GPL-3.0-or-later
// What the command's messages say of texts and of the command line.
#pragma once

#include <string>
#include <string_view>

#include "runtime/core/terminal_text.h"

namespace marigold {

// Bytes for a message on standard error: on a terminal their control characters, line ends too, are
// made visible; redirected they are what they are. The text that the command is asked for goes to
// standard output as it is.
inline std::string shown(std::string_view bytes) {
  return error_text(bytes, LineEnds::kShown);
}

}  // namespace marigold
