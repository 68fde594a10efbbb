// SPDX-License-Identifier: GPL-3.0-or-later
// The terminal on standard input and output of a POSIX system: the process holds it for full-screen
// work or for its keys alone, and gives it back as it was found. Process-wide.
#pragma once

#include <string_view>

#include "runtime/wi/console/console_size.h"

namespace marigold::inner {

enum class TtyHold : int {
  kNone,
  kKeyboard,  // single unechoed bytes, Ctrl-C among them; Ctrl-\ and Ctrl-Z still raise their
              // signals, and Ctrl-S and Ctrl-Q still stop and start the output, which serial
              // terminals need
  kVt100,     // the same, while the program itself writes a VT100's screen to standard output
  kScreen,    // the same, on the alternate screen, which does not wrap lines; output unchanged
};

enum class TtyEnd {
  kOrderly,  // the program has ended a VT100's screen itself
  kSudden,   // it could not: set normal video and go to the line below the screen
};

// Takes the terminal, unless the process has this hold or a stronger one (later in TtyHold)
// already; in the background waits until it is in the foreground. Returns true if it took the
// terminal; for kScreen the contents of the screen are then unknown. Ends the program with a
// message and exit status 1 if standard input (or for kScreen standard output) is not a terminal.
bool tty_hold(TtyHold wanted);
TtyHold tty_held();
// Whether standard input is a terminal that tty_hold can take without a screen.
bool tty_has_keyboard();
// Another process may have changed the terminal while this one was stopped: the next tty_hold takes
// it again, and tty_restore still restores the state found at first.
void tty_doubt();

// Gives the terminal back, if this process holds it. Waits at most `patience` milliseconds for a
// terminal that takes no output (negative: for ever). Safe within signal handlers.
void tty_restore(int patience, TtyEnd end);

// Writes all bytes, in one call if the system takes them; waits for a slow terminal. Stops if the
// terminal was given back meanwhile. Ends the program (tty_gone) if the terminal has gone away.
void tty_write(std::string_view bytes);

// Returns the size, 80 by 24 for a terminal that does not know its own.
ConsoleSize tty_size();

// Ends the program when the terminal has gone away: a message on standard error, exit status 1.
[[noreturn]] void tty_gone();

}  // namespace marigold::inner
