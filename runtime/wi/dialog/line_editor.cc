// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/dialog/line_editor.h"

#include <algorithm>

#include "runtime/wi/terminal/terminal.h"

namespace marigold::inner {
namespace {

// key_read gives a key like Ctrl-G as a character, but no text holds it.
bool is_control(std::uint8_t character) {
  return character < ' ' || character == 127;
}

Edited put(LineEditor& line, std::uint8_t character) {
  if (is_control(character)) return Edited::kDone;
  if (line.replacing) {
    line.text.clear();
    line.cursor = 0;
  }
  line.replacing = false;
  const bool overwrites = !line.inserting && line.cursor < line.text.size();
  if (!overwrites && line.text.size() >= line.most) return Edited::kFull;
  if (overwrites) line.text.erase(line.cursor, 1);
  line.text.insert(line.cursor, 1, static_cast<char>(character));
  ++line.cursor;
  return Edited::kDone;
}

Edited apply(LineEditor& line, int code, std::uint8_t character) {
  switch (code) {
    case kKeyCharacter:
      return put(line, character);
    case kKeyInsert:
      line.inserting = !line.inserting;
      return Edited::kDone;
    case kKeyBackspace:
      if (line.cursor > 0) line.text.erase(--line.cursor, 1);
      return Edited::kDone;
    case kKeyDelete:
      if (line.cursor < line.text.size()) line.text.erase(line.cursor, 1);
      return Edited::kDone;
    case kKeyLeft:
      if (line.cursor > 0) --line.cursor;
      return Edited::kDone;
    case kKeyRight:
      if (line.cursor < line.text.size()) ++line.cursor;
      return Edited::kDone;
    case kKeyHome:
      line.cursor = 0;
      return Edited::kDone;
    case kKeyEnd:
      line.cursor = line.text.size();
      return Edited::kDone;
    default:
      return Edited::kNot;
  }
}

}  // namespace

Edited line_edit(LineEditor& line, int code, std::uint8_t character) {
  const Edited edited = apply(line, code, character);
  if (edited != Edited::kNot && code != kKeyCharacter) line.replacing = false;
  // At the end of a full field the cursor stands on the last character.
  const std::size_t last = line.first + line.width - 1;
  if (line.cursor < line.first) line.first = line.cursor;
  if (line.cursor > last && !(line.cursor == last + 1 && line.cursor >= line.most))
    line.first = line.cursor - line.width + 1;
  return edited;
}

}  // namespace marigold::inner
