// Output of single lines on standard error, for reports that must come out whatever state the
// screen is in.
//
// Both write one line, its line end included, and flush standard error. They take the place on the
// screen that the line would have in a window; on standard error it only bounds the text, see
// there. On a terminal, control characters in a text are made visible after that. Write errors are
// ignored: there is no other way left to tell anyone.
#pragma once

namespace marigold {

// Where the sum of a line's first coordinate and the index of a character ends the line.
inline constexpr int kLineOutputBound = 63;

// Writes the text up to its end, to `width` characters, or to where `line` plus the character's
// index reaches 63, whichever comes first. That the line's number and not the column shortens the
// text is an old habit of the reports which other programs' copies of them show as well: kept so.
void line_output_text(int line, int column, const char* text, int width);

// Writes the number right-aligned in ten columns; a longer one is written whole.
void line_output_number(int line, int column, int number);

}  // namespace marigold
