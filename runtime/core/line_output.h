// SPDX-License-Identifier: GPL-3.0-or-later
// Writes single lines on standard error, for reports that must appear whatever state the screen is
// in.
//
// Both functions write one line with its line end and flush standard error. Both take the line's
// position in a window; on standard error the position only bounds the text, see line_output_text.
// On a terminal they then make control characters visible. They ignore write errors, because no
// other way remains to report them.
#pragma once

namespace marigold::inner {

// A line ends where the sum of its line number and the index of a character reaches this bound.
inline constexpr int kLineOutputBound = 63;

// Writes the text up to its end, to `width` characters, or to where `line` plus the character's
// index reaches 63, whichever comes first. The line's number and not its column shortens the text:
// an old habit of the reports, kept because other programs' copies of the reports have it too.
void line_output_text(int line, int column, const char* text, int width);

// Writes the number right-aligned in ten columns, a longer one whole.
void line_output_number(int line, int column, int number);

}  // namespace marigold::inner
