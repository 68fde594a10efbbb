// Composing the screen from the windows in the order of the stacking list, and writing a part of it
// to the terminal. Windows are given by their numbers, which have been checked.
#pragma once

namespace marigold {

// The composed screen as it is without the window; right where the window lies, blank elsewhere.
void compose_hide(int window);

// Puts the window's rectangle into the composed screen, with the window if it is shown, and with
// those above it. Leaves the rest as it was.
void compose_show(int window);

// Writes the window's rectangle of the composed screen to the terminal, without a refresh.
void write_rectangle(int window);

}  // namespace marigold
