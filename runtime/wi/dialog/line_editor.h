// SPDX-License-Identifier: GPL-3.0-or-later
// A line of text that the user edits: applies a key to the line. Shows nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace marigold::inner {

struct LineEditor {
  std::string text;
  std::size_t most = 0;   // characters
  std::size_t width = 0;  // visible characters, at least one
  std::size_t cursor = 0;
  std::size_t first = 0;  // the first visible character
  bool inserting = true;  // else a new character overwrites
  // A character typed before any other key of the editor takes the place of the whole text.
  bool replacing = false;
};

enum class Edited {
  kDone,  // also without an effect, such as Backspace at the beginning
  kFull,  // the line has no room for the character
  kNot,   // not a key of the editor
};

// Applies characters, Insert (switches between inserting and overwriting), Delete, Backspace, Left,
// Right, Home and End. Control characters have no effect. The cursor stays within the visible part.
Edited line_edit(LineEditor& line, int code, std::uint8_t character);

}  // namespace marigold::inner
