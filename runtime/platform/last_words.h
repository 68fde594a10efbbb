// SPDX-License-Identifier: GPL-3.0-or-later
// Prepares for the last lines on standard error before the process ends. The floor that holds the
// terminal leaves it first; otherwise the lines would vanish with the screen.
//
// For floors that do not see the user interface hook. The other floors call the hook's
// hand_terminal_back.
#pragma once

namespace marigold::inner {

// Sets the function that leaves the terminal; null if no floor holds the terminal.
void last_words_set_leave(void (*leave)());
// Leaves the terminal. May be called again.
void last_words_begin();

}  // namespace marigold::inner
