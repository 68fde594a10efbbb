// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the two halves of the terminal layer, screen and keys.
#pragma once

#include "runtime/wi/console/console.h"

namespace marigold::inner {

// Returns the console in force: the system's, or the one that a test has given to terminal_reset.
const Console& terminal_console();

// Resets the state of the keys: no hooks, keyboard present.
void keys_reset();

}  // namespace marigold::inner
