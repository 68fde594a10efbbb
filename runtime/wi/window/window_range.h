// Where a write into a window goes: the range check of the window manager.
#pragma once

namespace marigold {

// A place as the window table has it: row of the window and column of the screen, both from 0.
// Nothing is to be written when the count is 0.
struct WindowSpan {
  int row;
  int column;
  int count;
};

// Checks a write of `count` cells, at least 1, at a row and column as programs give them, on behalf
// of the operation of that name. What does not fit is corrected and reported by one-line messages,
// the operation's name before them. System error 26 for a free window; the number itself has been
// checked.
WindowSpan check_range(const char* operation, int window, int row, int column, int count);

}  // namespace marigold
