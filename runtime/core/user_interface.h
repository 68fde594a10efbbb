// SPDX-License-Identifier: GPL-3.0-or-later
// The hook by which the runtime's lower floors reach the user, whether a screen exists or not.
//
// One process-wide record of functions. At the start of a process it holds the standard-error
// functions of this module. The window system sets its own functions when it starts and restores
// the default when it ends, and the system error report sets `fatal`. Texts are zero-terminated and
// belong to the caller. Texts may hold any bytes that files hold: each function makes control
// characters visible (on standard error only for a terminal).
#pragma once

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold::inner {

// Puts the standard-error functions back in all fields.
void user_interface_start();

// Raises a fatal system error through the record. Never returns, even if the function in place
// does.
[[noreturn]] void raise_fatal(int number);

}  // namespace marigold::inner
