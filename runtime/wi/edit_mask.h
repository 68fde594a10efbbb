// Numbers shown and read by a mask, a picture of the text with a place for each character.
//
//   #      a digit, a blank where a leading zero would stand
//   0      a digit
//   ,      the decimal comma, once
//   .      a point between digits, a blank where no digit stands before it
//   -      as the first character: a minus sign for negative numbers, else a blank
//   other  stands for itself
//
// A text by a mask is as long as the mask. A number that does not fit (too many digits, negative
// where the mask has no sign, not a number at all) shows "*" in every place: a list or a field
// never shows a number that is cut.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

// "##0,00" and 12.345 give " 12,35". Rounds the number's shortest decimal form half up, away from
// zero: 2.675 to two places is 2,68, as on paper, though the nearest double lies below it.
std::string edit_number(std::string_view mask, double value);
// The same behind a text that is there, for those who edit many.
void append_edited(std::string& text, std::string_view mask, double value);

// The number that a text means, be it shown by the mask or typed for it: digits with blanks, points
// and other characters of the mask ignored around them, at most as many before and behind the comma
// as the mask has places, a sign only where the mask has one. No digits at all are 0. False, and
// the value as it was, when the text is none of this.
bool read_number(std::string_view mask, std::string_view text, double& value);

}  // namespace marigold
