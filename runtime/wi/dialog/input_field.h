// Fields in which the user types a text or a number.
//
// A field stands in a window, at a row and column of it, in reverse, and shows `width` characters,
// at least one and at most a screen's width; a longer text scrolls. Control characters in it are
// shown as "." and cannot be typed. The keys of line_editor.h edit. The others leave the field, and
// the function returns their code: Enter, Tab, Up, Down, the page and function keys with the new
// value; Escape and kKeyStart with the value as it was. Ctrl-A tells about the help key.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace marigold {

struct FieldPlace {
  int window = 0;
  int row = 1;
  int column = 1;
  int width = 1;
  const char* help_key = "";
};

// A text of at least and at most so many characters; the user is told the bounds and stays in the
// field until they hold.
int text_field(const FieldPlace& place, std::string& text, std::size_t least, std::size_t most);

// A number that is shown and read by a mask (edit_mask.h), between two bounds. The field is as wide
// as the mask.
int number_field(const FieldPlace& place, std::string_view mask, double& value, double least,
                 double most);

}  // namespace marigold
