// The terminal on standard input and output of a POSIX system: held for full-screen work or for its
// keys alone, and given back as it was found. Process-wide.
#pragma once

#include <string_view>

namespace marigold {

enum class TtyHold : int {
  kNone,
  kKeyboard,  // single unechoed bytes, Ctrl-C among them; Ctrl-\ and Ctrl-Z still raise their
              // signals, and Ctrl-S and Ctrl-Q still stop and start the output, which serial
              // terminals need
  kVt100,     // the same, while the program itself writes a VT100's screen to standard output
  kScreen,    // the same, on the alternate screen, which does not wrap lines; output unchanged
};

enum class TtyEnd {
  kOrderly,  // the program has brought a VT100's screen to its end
  kSudden,   // or was kept from it: normal video, and on with the line below the screen
};

struct TtySize {
  int columns = 0;
  int rows = 0;
};

// Takes the terminal, in the background as soon as it is in the foreground, unless it is held so
// already: true when something was done, and then for
// kScreen nothing is known of what the screen shows. Ends the program with a message and exit
// status 1 when standard input (or for kScreen standard output) is not a terminal.
bool tty_hold(TtyHold wanted);
TtyHold tty_held();
// Whether standard input is a terminal that tty_hold can take without a screen.
bool tty_has_keyboard();
// Someone else may have changed the terminal while we were stopped: the next tty_hold does its work
// again, and what is restored in the end is what was found at first.
void tty_doubt();

// Gives the terminal back, if this process holds it. Waits for a terminal that takes no output, but
// not longer than so many milliseconds (negative: for ever). Safe within signal handlers.
void tty_restore(int patience, TtyEnd end);

// Writes all bytes, in one call if the system takes them; waits for a slow terminal. Stops when the
// terminal was given back meanwhile. Ends the program (tty_gone) when there is no terminal any
// more.
void tty_write(std::string_view bytes);

// 80 by 24 for a terminal that does not know.
TtySize tty_size();

// The terminal has gone away: a message on standard error, exit status 1.
[[noreturn]] void tty_gone();

}  // namespace marigold
