// Fields in which the user types a text or a number.
//
// A field lies in a window, at a row and column of it, in reverse, and shows `width` characters, at
// least one and at most a screen's width; a longer text scrolls. It shows control characters as "."
// and does not accept them. The keys of line_editor.h edit. All other keys leave the field, and the
// function returns their code: Enter, Tab, Up, Down, the page and function keys with the new value;
// Escape and kKeyStart with the old value. Ctrl-A shows a message about the help key.
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

// Edits a text with at least `least` and at most `most` characters. Outside these bounds the user
// gets a message with the bounds and stays in the field.
int text_field(const FieldPlace& place, std::string& text, std::size_t least, std::size_t most);

// Edits a number between two bounds, shown and read by a mask (edit_mask.h). The field is as wide
// as the mask.
int number_field(const FieldPlace& place, std::string_view mask, double& value, double least,
                 double most);

}  // namespace marigold
