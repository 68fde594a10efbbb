// SPDX-License-Identifier: GPL-3.0-or-later
// The range check of the window manager: finds the place of a write into a window.
#pragma once

namespace marigold::inner {

// A place in the window table: row of the window and column of the screen, both from 0. With a
// count of 0 there is nothing to write.
struct WindowSpan {
  int row;
  int column;
  int count;
};

// Checks a write of `count` cells, at least 1, at a row and column as programs give them, for the
// operation of that name. Corrects a place or count that does not fit and reports it by one-line
// messages, the operation's name in front. System error 26 for a free window; the caller has
// checked the number itself.
WindowSpan check_range(const char* operation, int window, int row, int column, int count);

}  // namespace marigold::inner
