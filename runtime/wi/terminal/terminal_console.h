// What the two halves of the terminal layer, screen and keys, tell each other.
#pragma once

#include "runtime/wi/console/console.h"

namespace marigold {

// The console in force: the system's, or the one that a test has given to terminal_reset.
const Console& terminal_console();

// Sets the state of the keys afresh: no hooks, keyboard there.
void keys_reset();

}  // namespace marigold
