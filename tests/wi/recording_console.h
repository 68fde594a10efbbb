// A console that shows nothing and remembers everything, with a keyboard that types what a test has
// queued.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "runtime/wi/console.h"

namespace marigold::test {

struct Recording {
  ConsoleBuffer cells{};  // as last written; not touched by a clear
  int writes = 0;
  int column = 0;  // of the cursor, from 1; 0: never placed
  int row = 0;
  bool cursor_visible = true;
  // Keys still to be typed. When none is left, the keyboard is lost until the test queues more.
  std::deque<std::uint8_t> keys;
  bool keyboard_lost = false;
  // Every call but those of the keyboard, a letter each: S size, C clear, W write, P place_cursor,
  // V cursor visible, H cursor hidden, L leave.
  std::string calls;

  void type(std::string_view bytes);
  // The characters of a row, from 1, or of a part of it.
  [[nodiscard]] std::string text(int row, int column = 1, int count = kScreenColumns) const;
  [[nodiscard]] const ConsoleCell& cell(int row, int column) const;
  // How often a call was made, by its letter.
  [[nodiscard]] int count(char call) const;
};

// What happened since recording_reset.
Recording& recording();
void recording_reset();
// For terminal_reset.
const Console& recording_console();

}  // namespace marigold::test
