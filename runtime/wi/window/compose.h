// SPDX-License-Identifier: GPL-3.0-or-later
// Composes the screen from the windows in the order of the stacking list, and writes a part of it
// to the terminal. The caller has checked the window numbers.
#pragma once

namespace marigold::inner {

// Composes the screen without the window: right in the window's rectangle, blank elsewhere.
void compose_hide(int window);

// Composes the window's rectangle, with the window if it is shown, and with those above it. Leaves
// the rest of the composed screen as it was.
void compose_show(int window);

// Writes the window's rectangle of the composed screen to the terminal, without a refresh.
void write_rectangle(int window);

}  // namespace marigold::inner
