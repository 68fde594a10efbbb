// SPDX-License-Identifier: GPL-3.0-or-later
// Makes the bytes that change the screen shown by a terminal into the wanted screen. Touches no
// terminal itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/cursor_movement.h"

namespace marigold::inner {

// Look of a cell's colours on a terminal.
enum class CellLook : std::uint8_t { kPlain, kBright, kReverse, kReverseBright };

// Differences between terminals.
struct TerminalKind {
  TerminalGlyphs glyphs = terminal_glyphs(TerminalCharacters::kUtf8);
  bool has_axis_positions = true;  // see plan_motion
};

// Contents and state of the terminal, as far as the operations below have set them. The terminal
// has at least 80 by 24 cells, does not wrap lines, and its line feed keeps the column.
struct ShownScreen {
  ConsoleBuffer cells{};
  CursorPosition cursor;
  bool cursor_visible = true;
  CellLook look = CellLook::kPlain;
  bool graphic_set = false;
  int next_row = 1;  // after a part of an update: the row with which the next part begins
};

struct WantedCursor {
  CursorPosition position;
  bool visible = true;
};

// Appends the bytes that erase the terminal in any state, and notes the result: blanks, the cursor
// in the first column of the first row. The cursor's visibility is unknown, so the bytes make it
// visible.
void screen_erase(ShownScreen& shown, std::string& out);

// Whether the terminal shows other cells or another cursor.
bool screen_differs(const ShownScreen& shown, const ConsoleBuffer& wanted,
                    const WantedCursor& cursor);

// Appends the bytes that make the terminal show these cells and this cursor, and notes the result.
// Appends nothing without a change. An invisible cursor stays after the last change. A blank in the
// bright colour looks like one in the plain colour, and character 0 like a blank: these are no
// changes either.
//
// Stops after the row with which the bytes reach `room`, and then returns false. A later call goes
// on below that row and comes back to the rows above, so that each row has its turn on a slow line.
bool screen_update(ShownScreen& shown, const ConsoleBuffer& wanted, const WantedCursor& cursor,
                   const TerminalKind& kind, std::string& out,
                   std::size_t room = std::numeric_limits<std::size_t>::max());

}  // namespace marigold::inner
