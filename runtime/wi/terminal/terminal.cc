// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/terminal/terminal.h"

#include <algorithm>
#include <cstdlib>

#include "runtime/core/settings.h"
#include "runtime/core/terminal_text.h"
#include "runtime/texte/char_table.h"
#include "runtime/wi/terminal/terminal_console.h"
#include "runtime/wi/terminal/vt100_screen.h"

namespace marigold {

using namespace inner;

namespace {

enum class Mode { kUndecided, kConsole, kVt100 };

struct State {
  const Console* console = nullptr;  // null: the system's
  Mode mode = Mode::kUndecided;
  int column = 1;  // of the cursor
  int row = 1;
  ConsoleBuffer cells{};    // the screen at the next refresh; VT100 mode: as written
  bool given_back = false;  // and no output since
};

constinit State state;

// Code page 437's frames, by line-drawing code.
constexpr std::array<std::uint8_t, kLineDrawingCodes> kLineDrawingBytes = {
    191, 217, 218, 192, 196, 179, 197, 194, 193, 195, 180};

// Returns the byte that shows a cell; 0 if no byte does.
std::uint8_t byte_of(std::uint8_t character, std::uint8_t attribute) {
  if ((attribute & kAttributeLineDrawing) == 0) return char_map_output(character);
  return character < kLineDrawingCodes ? kLineDrawingBytes[character] : 0;
}

std::uint16_t colour_of(std::uint8_t attribute) {
  const bool bright = (attribute & kAttributeBright) != 0;
  if ((attribute & kAttributeReverse) != 0) return bright ? kColourReverseBright : kColourReverse;
  return bright ? kColourBright : kColourPlain;
}

void put_cell(std::uint8_t character, std::uint8_t attribute, ConsoleCell& cell) {
  cell = {byte_of(character, attribute), colour_of(attribute)};
  if (state.mode == Mode::kVt100) vt100_put(cell.character, attribute);
}

// Returns true if the console took the terminal (again).
bool take_keyboard() {
  const Console& console = terminal_console();
  return console.take_keyboard != nullptr && console.take_keyboard();
}

}  // namespace

void inner::terminal_reset(const Console* console) {
  state = State{};
  state.console = console;
  keys_reset();
}

const Console& inner::terminal_console() {
  return state.console != nullptr ? *state.console : system_console();
}

bool inner::terminal_is_vt100() {
  if (state.mode == Mode::kUndecided) {
    // The variable counts as set even if it is empty.
    const bool asked_for = std::getenv("COMFAXUSEVT100") != nullptr;
    state.mode = asked_for ? Mode::kVt100 : Mode::kConsole;
    if (asked_for) {
      vt100_start(terminal_charset());
      take_keyboard();
    } else {
      terminal_console().size();
    }
  }
  return state.mode == Mode::kVt100;
}

void inner::terminal_start() {
  char_tables_load();
  state.given_back = false;
  if (terminal_is_vt100()) {
    state.cells.fill({});
    vt100_clear();
  } else {
    terminal_console().clear();
  }
}

void inner::terminal_end() {
  if (!open_subsystems().window_system) return;
  if (!state.given_back) {
    // Later output must not be in reverse.
    if (terminal_is_vt100()) vt100_end_look();
    terminal_clear();
    terminal_refresh();
    terminal_show_cursor(true);
    terminal_set_cursor(1, kScreenRows);
    if (!terminal_is_vt100()) terminal_console().clear();
  }
  terminal_console().leave();
  state.given_back = true;
}

void inner::terminal_clear() {
  if (!open_subsystems().window_system) return;
  state.given_back = false;
  state.cells.fill({});
  if (terminal_is_vt100()) {
    state.column = 1;
    state.row = 1;
    vt100_clear();
  } else {
    terminal_refresh();
  }
}

void terminal_refresh() {
  state.given_back = false;
  if (!terminal_is_vt100()) return terminal_console().write(state.cells);
  // A process that was stopped meanwhile holds the terminal again, and the shell has written on the
  // screen.
  if (take_keyboard()) return vt100_repaint(state.cells, state.column, state.row);
  vt100_refresh(state.cells, state.column, state.row);
}

void terminal_repaint() {
  if (!open_subsystems().window_system) return;
  state.given_back = false;
  const Console& console = terminal_console();
  if (terminal_is_vt100()) {
    vt100_repaint(state.cells, state.column, state.row);
  } else if (console.repaint != nullptr) {
    console.repaint();
  } else {
    console.write(state.cells);
  }
}

void terminal_set_cursor(int column, int row) {
  state.given_back = false;
  state.column = std::clamp(column, 1, kScreenColumns);
  state.row = std::clamp(row, 1, kScreenRows);
  if (terminal_is_vt100()) {
    terminal_refresh();
  } else {
    terminal_console().place_cursor(state.column, state.row);
  }
}

void terminal_show_cursor(bool visible) {
  state.given_back = false;
  if (!terminal_is_vt100()) terminal_console().show_cursor(visible);
}

void terminal_bell() {
  if (terminal_is_vt100()) vt100_bell(state.cells);
}

void inner::terminal_write_row(const ScreenRow& from, int row, int column, int count) {
  if (row < 1 || row > kScreenRows || column < 1 || column > kScreenColumns) return;
  if (terminal_is_vt100()) vt100_begin(column, row);
  const auto first_cell = static_cast<std::size_t>(row - 1) * kScreenColumns;
  const auto first = static_cast<std::size_t>(column - 1);
  const std::size_t end =
      first + static_cast<std::size_t>(std::clamp(count, 0, kScreenColumns + 1 - column));
  for (std::size_t index = first; index < end; ++index)
    put_cell(from.characters[index], from.attributes[index], state.cells[first_cell + index]);
}

void row_fill(ScreenRow& row, std::uint8_t character, std::uint8_t attribute) {
  row.characters.fill(character);
  row.attributes.fill(attribute);
}

void inner::line_drawing_start(std::array<std::uint8_t, kLineDrawingCodes>& codes) {
  for (std::uint8_t code = 0; code < kLineDrawingCodes; ++code)
    codes[code] = code;
}

void inner::attribute_table_start(std::array<std::uint8_t, 16>& table) {
  constexpr std::array<std::uint8_t, 4> kByIndexBit = {kAttributeSecondHighlight, kAttributeReverse,
                                                       kAttributeBright, kAttributeFourthHighlight};
  table.fill(0);
  for (std::size_t index = 0; index < table.size(); ++index) {
    for (std::size_t bit = 0; bit < kByIndexBit.size(); ++bit) {
      if ((index >> bit & 1) != 0) table[index] |= kByIndexBit[bit];
    }
  }
}

}  // namespace marigold
