// SPDX-License-Identifier: GPL-3.0-or-later
// Gives the console back when the process ends without asking: by Ctrl-Break, when the user closes
// the window, logs off or shuts the machine down, by an abort, and by a fault. Each then takes the
// course that it would have taken.
#pragma once

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

// Installs the handlers. May be called again.
void events_install();
// Restores the state before events_install.
void events_remove();

// Waits for the end of the process after an event that ends it. Returns after a second, for a
// program with a handler of its own that goes on, or at once without an event.
void events_await_end();

// A handle that an event signals, until it wakes a waiting thread. Null before events_install.
HANDLE events_wake_handle();

}  // namespace marigold::inner
