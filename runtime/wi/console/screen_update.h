// From the screen that a terminal shows and the one that it is to show, the bytes that make the
// difference. Touches no terminal itself.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/cursor_movement.h"

namespace marigold {

// What the colours of a cell become on a terminal.
enum class CellLook : std::uint8_t { kPlain, kBright, kReverse, kReverseBright };

// What is different from terminal to terminal.
struct TerminalKind {
  TerminalGlyphs glyphs = terminal_glyphs(TerminalCharacters::kUtf8);
  bool has_axis_positions = true;  // see plan_motion
};

// What the terminal shows and how it stands, as far as it was told by the operations below. The
// terminal has at least 80 by 24 cells, does not wrap lines, and its line feed keeps the column.
struct ShownScreen {
  ConsoleBuffer cells{};
  CursorPosition cursor;
  bool cursor_visible = true;
  CellLook look = CellLook::kPlain;
  bool graphic_set = false;
};

struct WantedCursor {
  CursorPosition position;
  bool visible = true;
};

// Appends what erases the terminal, however it stands, and notes it as shown: blanks, the cursor in
// the first column of the first row. Of a cursor nothing is known: it is made visible.
void screen_erase(ShownScreen& shown, std::string& out);

// Appends what makes the terminal show these cells and this cursor, and notes it as shown. Nothing
// for no change. An invisible cursor is left where the last change put it. A blank in the bright
// colour looks as one in the plain colour, and character 0 as a blank: no change either.
void screen_update(ShownScreen& shown, const ConsoleBuffer& wanted, const WantedCursor& cursor,
                   const TerminalKind& kind, std::string& out);

}  // namespace marigold
