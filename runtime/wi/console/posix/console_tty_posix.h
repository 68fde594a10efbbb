// SPDX-License-Identifier: GPL-3.0-or-later
// The terminal on standard input and output of a POSIX system: the process holds it for full-screen
// work or for its keys alone, and gives it back as it was found. Process-wide.
//
// With any hold Ctrl-\ and Ctrl-Z still raise their signals, and Ctrl-S and Ctrl-Q still stop and
// start the output, which serial terminals need. The screen of its own is the alternate screen,
// which does not wrap lines and gets the output as it is.
#pragma once

#include <termios.h>

#include <string_view>

#include "runtime/wi/console/console_hold.h"
#include "runtime/wi/console/console_size.h"

namespace marigold::inner {

// Takes the terminal, unless the process has this hold or a stronger one (later in ConsoleHold)
// already; in the background waits until it is in the foreground. Returns true if it took the
// terminal; for kScreen the contents of the screen are then unknown. Ends the program with a
// message and exit status 1 if standard input (or for kScreen standard output) is not a terminal.
bool tty_hold(ConsoleHold wanted);
ConsoleHold tty_held();
// Whether the terminal is held for a screen and standard output leads to it. Any thread may call it.
bool tty_shows_output();
// Whether this is a forked child of the process that took the terminal.
bool tty_is_inherited();
// Output speed of the terminal's modes, as tty_hold found them.
speed_t tty_speed();
// Whether standard input is a terminal that tty_hold can take without a screen.
bool tty_has_keyboard();
// Another process may have changed the terminal while this one was stopped: the next tty_hold takes
// it again, and tty_restore still restores the state found at first.
void tty_doubt();

// Gives the terminal back, if this process holds it. Waits at most `patience` milliseconds for a
// terminal that takes no output (negative: for ever). Safe within signal handlers.
void tty_restore(int patience, ConsoleEnd end);

// Writes all bytes, in one call if the system takes them; waits for a slow terminal. Stops if the
// terminal was given back meanwhile. Returns false if the terminal has gone away.
bool tty_write(std::string_view bytes);

// Returns the size, 80 by 24 for a terminal that does not know its own.
ConsoleSize tty_size();

// Ends the program when the terminal has gone away: a message on standard error, exit status 1.
[[noreturn]] void tty_gone();

}  // namespace marigold::inner
