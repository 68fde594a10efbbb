// A terminal to look at: libvterm with what the tests of the console ask it.
#pragma once

#include <vterm.h>

#include <string>
#include <string_view>

#include "runtime/wi/console.h"
#include "runtime/wi/cursor_movement.h"

namespace marigold::test {

class Emulator {
 public:
  Emulator(int columns, int rows, bool utf8 = true);
  Emulator(const Emulator&) = delete;
  Emulator& operator=(const Emulator&) = delete;
  ~Emulator();

  void feed(std::string_view bytes);
  void resize(int columns, int rows);
  // The characters of a row, "?" for those beyond ASCII, without blanks at the end; row from 1.
  std::string row_text(int row) const;
  CursorPosition cursor() const;
  bool cursor_visible() const { return cursor_visible_; }
  bool alternate_screen() const { return alternate_screen_; }
  // Where the upper left 80 by 24 cells are not these cells; "" when they are.
  std::string difference(const ConsoleBuffer& expected) const;

 private:
  VTermScreenCell cell(int row, int column) const;

  VTerm* terminal_;
  VTermScreen* screen_;
  bool cursor_visible_ = true;
  bool alternate_screen_ = false;
};

}  // namespace marigold::test
