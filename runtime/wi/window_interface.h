<<<<<<< HEAD
// The user interface hook's functions that show windows: what the runtime has to tell goes to the
// screen while the window system is active.
//
//   warning              a box in the middle
//   message              a line at the bottom, help by its key
//   choose               the question in the last row and the answers beside it, or a list; the
//                        first answer for Escape
//   ask_for_lock         the same with "try again" and "back"
//   wait_for_lock        the text in the last row, for a second
//   hand_terminal_back   the terminal as it was found
//
// Fatal errors stay with whoever reports them.
=======
// Telling and asking the user in windows: what the user interface hook of the lower floors does
// while the window system is active.
//
// Everything waits for a key, takes what it showed off the screen and puts the cursor back. Escape,
// also that of a keyboard that is gone, takes the safe answer. The help key says that there is no
// page under the message's key.
>>>>>>> 788326d0f772a79142220f05fd00700003553ea6
#pragma once

namespace marigold {

<<<<<<< HEAD
// Puts them in place of what is in force, and that back. Not nested.
void window_interface_start();
=======
// Puts the window functions into the hook: after wi_start.
void window_interface_start();

// Gives the hook back what was in it before. May be called again.
>>>>>>> 788326d0f772a79142220f05fd00700003553ea6
void window_interface_end();

}  // namespace marigold
