// SPDX-License-Identifier: GPL-3.0-or-later
// A console that shows nothing and records all calls, with a keyboard that types the bytes a test
// has queued.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "runtime/wi/console/console.h"

namespace marigold::inner::test {

struct Recording {
  ConsoleBuffer cells{};  // as last written; not touched by a clear
  int writes = 0;
  int column = 0;  // of the cursor, from 1; 0: never placed
  int row = 0;
  // Bytes still to be typed. Without any the keyboard is lost until the test queues more.
  std::deque<std::uint8_t> keys;
  bool keyboard_lost = false;
  // Every call but those of the keyboard, a letter each: S size, C clear, W write, P place_cursor,
  // V cursor visible, H cursor hidden, L leave.
  std::string calls;

  void type(std::string_view bytes) { keys.insert(keys.end(), bytes.begin(), bytes.end()); }
  [[nodiscard]] const ConsoleCell& cell(int at_row, int at_column) const {
    return cells.at(static_cast<std::size_t>((at_row - 1) * kScreenColumns + at_column - 1));
  }
  // Returns the characters of a row, from 1, or of a part of it.
  [[nodiscard]] std::string text(int at_row, int first = 1, int count = kScreenColumns) const {
    std::string characters;
    for (int place = first; place < first + count; ++place)
      characters += static_cast<char>(cell(at_row, place).character);
    return characters;
  }
};

// The recording since recording_reset.
inline Recording& recording() {
  static Recording state;
  return state;
}
inline void recording_reset() {
  recording() = {};
}

inline std::uint8_t next_recorded_key() {
  Recording& state = recording();
  state.keyboard_lost = state.keys.empty();
  if (state.keyboard_lost) return 27;
  const std::uint8_t key = state.keys.front();
  state.keys.pop_front();
  return key;
}

// The console to pass to terminal_reset.
inline const Console& recording_console() {
  static constexpr Console kConsole{
      .size = [] { recording().calls += 'S'; },
      .clear = [] { recording().calls += 'C'; },
      .write =
          [](const ConsoleBuffer& cells) {
            recording().calls += 'W';
            ++recording().writes;
            recording().cells = cells;
          },
      .place_cursor =
          [](int column, int row) {
            recording().calls += 'P';
            recording().column = column;
            recording().row = row;
          },
      .show_cursor = [](bool visible) { recording().calls += visible ? 'V' : 'H'; },
      .read_key = next_recorded_key,
      .key_waiting = [] { return !recording().keys.empty(); },
      .keyboard_lost = [] { return recording().keyboard_lost; },
      .leave = [] { recording().calls += 'L'; },
  };
  return kConsole;
}

}  // namespace marigold::inner::test
