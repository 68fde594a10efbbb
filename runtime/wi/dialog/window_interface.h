// SPDX-License-Identifier: GPL-3.0-or-later
// The user interface hook's functions that show windows: the runtime's reports go to the screen
// while the window system is active.
//
//   warning              a box in the middle
//   message              a line at the bottom, help by its key
//   choose               the question in the last row and the answers beside it, or a list; the
//                        first answer for Escape
//   ask_for_lock         the same with "try again" and "back"
//   wait_for_lock        the text in the last row, for a second
//   hand_terminal_back   the terminal as it was found
//   fault_in_line        the source and "Fehler in Zeile" in a window, and on standard error with
//                        the terminal handed back
//
// These functions do not report fatal errors.
#pragma once

namespace marigold::inner {

// Set these functions in place of those in force, and restore the earlier ones. Not nested.
void window_interface_start();
void window_interface_end();

}  // namespace marigold::inner
