// A line of text that is being edited: what each key does to it. Nothing here is shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace marigold {

struct LineEditor {
  std::string text;
  std::size_t most = 0;   // characters
  std::size_t width = 0;  // characters that are shown, at least one
  std::size_t cursor = 0;
  std::size_t first = 0;  // the first one shown
  bool inserting = true;  // else characters are overwritten
};

enum class Edited {
  kDone,  // perhaps with no effect, as Backspace at the beginning
  kFull,  // there was no room for the character
  kNot,   // no key of the editor
};

// Characters, Insert (inserting or overwriting), Delete, Backspace, Left, Right, Home, End. Control
// characters have no effect. The cursor stays within what is shown.
Edited line_edit(LineEditor& line, int code, std::uint8_t character);

}  // namespace marigold
