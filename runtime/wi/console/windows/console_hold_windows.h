// SPDX-License-Identifier: GPL-3.0-or-later
// The console of the process: held for full-screen work or for its keys alone, and given back as it
// was found. Process-wide.
//
// Full-screen work has a screen buffer of its own, so that the user's keeps its size, its contents
// and its cursor. With any hold all keys come as events, and Ctrl-Break still ends the program.
#pragma once

#include "runtime/platform/windows/system_windows.h"
#include "runtime/wi/console/changed_cells.h"
#include "runtime/wi/console/console_hold.h"
#include "runtime/wi/console/console_size.h"

namespace marigold::inner {

// Takes the console, unless the process has this hold or a stronger one (later in ConsoleHold)
// already. Returns true if it took the console; for kScreen the contents of the screen are then
// unknown. Ends the program with a message and exit status 1 if standard input (or for kScreen
// standard output) is not a console.
bool console_take(ConsoleHold wanted);
ConsoleHold console_held();
// Whether this process holds the console and its output is shown there. Any thread may call it.
bool console_shows_output();
// Whether standard input is a console that console_take can take without a screen.
bool console_has_keyboard();
// Gives the console back, if this process holds it. Any thread may call it.
void console_restore(ConsoleEnd end);

// The console's input, once the console was taken.
HANDLE console_input();

// ---- The screen buffer, while the console is held as a screen. A call that fails changes nothing.

// Makes a buffer that is smaller than 80 by 24 cells as large as that.
void console_fit();
ConsoleSize console_size();
// Fills the buffer with blanks.
void console_erase();
// Writes the cells of a region in one call.
void console_write(const ConsoleBuffer& cells, const CellRegion& region);
// Column and row from 1.
void console_place_cursor(int column, int row);
void console_show_cursor(bool visible);

// Ends the program when the console has gone away: a message on standard error, exit status 1.
[[noreturn]] void console_gone();

}  // namespace marigold::inner
