// How the runtime's lower floors reach the person at the screen without knowing whether there is a
// screen.
//
// One record of functions, process-wide. At the start of a process it holds the standard-error
// functions of this module; the window system puts its own in place when it starts and gives the
// default back when it ends, and the system error report takes over `fatal`. Texts are
// zero-terminated and belong to the caller. They may hold anything that files hold: whoever shows
// them makes control characters visible (on standard error: when that is a terminal).
#pragma once

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold {

// Puts the standard-error functions back in all fields.
void user_interface_start();

// Raises a fatal system error through the record. Never returns, whatever the function in place
// does.
[[noreturn]] void raise_fatal(int number);

}  // namespace marigold
