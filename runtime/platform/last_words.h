// Lines on standard error after which the process ends. Whoever holds the terminal leaves it first,
// or they would be gone with the screen.
//
// For floors that do not see the user interface hook; the others call its hand_terminal_back.
#pragma once

namespace marigold {

// Sets what leaves the terminal; null: nobody holds it.
void last_words_set_leave(void (*leave)());
// Leaves it. May be called again.
void last_words_begin();

}  // namespace marigold
