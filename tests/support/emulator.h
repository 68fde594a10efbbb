// SPDX-License-Identifier: GPL-3.0-or-later
// A terminal emulator for tests: libvterm, with the questions that the tests of the console ask.
#pragma once

#include <vterm.h>

#include <memory>
#include <string>
#include <string_view>

#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/cursor_movement.h"

namespace marigold::inner::test {

class Emulator {
 public:
  Emulator(int columns, int rows, bool utf8 = true) : terminal_(vterm_new(rows, columns)) {
    vterm_set_utf8(terminal_.get(), utf8 ? 1 : 0);
    callbacks_.settermprop = note_property;
    vterm_screen_set_callbacks(screen(), &callbacks_, this);
    vterm_screen_enable_altscreen(screen(), 1);
    vterm_screen_reset(screen(), 1);
  }
  void feed(std::string_view bytes) {
    const std::string characters = code_page_437_ ? as_utf8(bytes) : std::string(bytes);
    vterm_input_write(terminal_.get(), characters.data(), characters.size());
  }
  void resize(int columns, int rows) { vterm_set_size(terminal_.get(), rows, columns); }
  // From now on bytes from 128 on are letters and frames of code page 437, as for a VT100 of the
  // platform.
  void take_code_page_437() { code_page_437_ = true; }
  bool cursor_visible() const { return cursor_visible_; }
  bool alternate_screen() const { return alternate_screen_; }
  CursorPosition cursor() const {
    VTermPos position{};
    vterm_state_get_cursorpos(vterm_obtain_state(terminal_.get()), &position);
    return {position.col + 1, position.row + 1};
  }

  // Whether the next output of a program would be in reverse.
  bool writes_in_reverse() {
    feed("x");
    VTermScreenCell cell{};
    vterm_screen_get_cell(screen(), {cursor().row - 1, cursor().column - 2}, &cell);
    return cell.attrs.reverse != 0;
  }

  // Row and column from 1.
  VTermScreenCell cell(int row, int column) const {
    VTermScreenCell cell{};
    vterm_screen_get_cell(screen(), {row - 1, column - 1}, &cell);
    return cell;
  }

  // Returns a row, from 1, in ASCII without blanks at the end.
  std::string row_text(int row) const {
    std::string text;
    VTermScreenCell cell{};
    for (int column = 0; vterm_screen_get_cell(screen(), {row - 1, column}, &cell) != 0; ++column)
      text += cell.chars[0] == 0 ? ' ' : static_cast<char>(cell.chars[0]);
    return text.substr(0, text.find_last_not_of(' ') + 1);
  }

  // Returns the first difference of the upper left 80 by 24 cells from these cells; "" without one.
  std::string difference(const ConsoleBuffer& expected) const {
    for (int index = 0; index < static_cast<int>(expected.size()); ++index) {
      const VTermPos place{index / kScreenColumns, index % kScreenColumns};
      VTermScreenCell seen{};
      vterm_screen_get_cell(screen(), place, &seen);
      const ConsoleCell& cell = expected[static_cast<std::size_t>(index)];
      const char32_t character = code_page_437_character(cell.character);
      const bool reverse = cell.colour >= kColourReverse;
      const bool bold = cell.colour == kColourBright || cell.colour == kColourReverseBright;
      const bool bold_counts = reverse || character != ' ';  // a blank does not show it
      if ((seen.chars[0] == 0 ? ' ' : seen.chars[0]) != character ||
          (seen.attrs.reverse != 0) != reverse || (bold_counts && (seen.attrs.bold != 0) != bold))
        return "row " + std::to_string(place.row + 1) + ", column " + std::to_string(place.col + 1);
    }
    return "";
  }

 private:
  static std::string as_utf8(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
      const auto value = static_cast<std::uint8_t>(byte);
      const char16_t character = value < 0x80 ? value : code_page_437_character(value);
      const auto add = [&text](int bits) { text += static_cast<char>(bits); };
      if (character < 0x80) {
        add(character);
      } else if (character < 0x800) {
        add(0xC0 | character >> 6);
        add(0x80 | (character & 0x3F));
      } else {
        add(0xE0 | character >> 12);
        add(0x80 | (character >> 6 & 0x3F));
        add(0x80 | (character & 0x3F));
      }
    }
    return text;
  }
  static int note_property(VTermProp property, VTermValue* value, void* user) {
    auto* self = static_cast<Emulator*>(user);
    if (property == VTERM_PROP_CURSORVISIBLE) self->cursor_visible_ = value->boolean != 0;
    if (property == VTERM_PROP_ALTSCREEN) self->alternate_screen_ = value->boolean != 0;
    return 1;
  }
  VTermScreen* screen() const { return vterm_obtain_screen(terminal_.get()); }

  struct Free {
    void operator()(VTerm* terminal) const { vterm_free(terminal); }
  };
  std::unique_ptr<VTerm, Free> terminal_;
  VTermScreenCallbacks callbacks_{};
  bool cursor_visible_ = true;
  bool alternate_screen_ = false;
  bool code_page_437_ = false;
};

}  // namespace marigold::inner::test
