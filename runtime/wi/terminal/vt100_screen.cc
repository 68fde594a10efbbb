// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/terminal/vt100_screen.h"

#include <algorithm>
#include <span>

#include "runtime/wi/console/cursor_movement.h"
#include "runtime/wi/terminal/terminal_console.h"
#include "runtime/wi/terminal/vt100.h"

namespace marigold::inner {
namespace {

constexpr int kLongestGap = 8;  // unchanged cells that are sent again: a position has up to 8 bytes

// The screen's lock guards all members. While the screen is late the thread may use them, except
// `is_made` and `is_written`.
struct State {
  Vt100 vt100;
  bool is_made = true;      // vt100 has the bytes from the screen shown to the cells written
  bool is_written = false;  // cells since the last refresh
  ConsoleBuffer wanted{};   // the cells of the last refresh
  CursorPosition cursor;
  ConsoleBuffer shown{};
  int next_row = 1;  // after a part of the screen: the row with which the next part begins
};
constinit State state;

using Row = std::span<const ConsoleCell>;

Row row_of(const ConsoleBuffer& cells, int row) {
  return Row(cells).subspan(static_cast<std::size_t>(row - 1) * kScreenColumns, kScreenColumns);
}

bool is_reverse(const ConsoleCell& cell) {
  return cell.colour >= kColourReverse;
}

bool look_the_same(const ConsoleCell& one, const ConsoleCell& other) {
  return one.character == other.character && is_reverse(one) == is_reverse(other);
}

bool is_plain_blank(const ConsoleCell& cell) {
  return cell.character == ' ' && !is_reverse(cell);
}

void put_cells(int column, int row, Row cells) {
  state.vt100.place_cursor(column, row);
  for (const ConsoleCell& cell : cells) {
    state.vt100.set_attribute(is_reverse(cell) ? kAttributeReverse : std::uint8_t{0});
    state.vt100.put(cell.character);
  }
}

void place_cursor_and_send() {
  state.vt100.place_cursor(state.cursor.column, state.cursor.row);
  state.vt100.flush();
}

// Joins changes with few unchanged cells between them to one segment.
void put_changes(int row) {
  const Row before = row_of(state.shown, row);
  const Row after = row_of(state.wanted, row);
  for (int column = 0; column < kScreenColumns; ++column) {
    const int first = column;
    int end = column;
    for (; column < kScreenColumns && column - end <= kLongestGap; ++column) {
      const auto index = static_cast<std::size_t>(column);
      if (!look_the_same(before[index], after[index])) end = column + 1;
      if (end == first) break;
    }
    if (end == first) continue;
    put_cells(
        first + 1, row,
        after.subspan(static_cast<std::size_t>(first), static_cast<std::size_t>(end - first)));
    column = end - 1;
  }
  std::ranges::copy(after, state.shown.begin() + std::ptrdiff_t{row - 1} * kScreenColumns);
}

void drop_made_bytes() {
  state.vt100.drop();
  state.is_made = false;
}

bool paint(int room) {
  if (state.is_made && room == kAnyRoom) {
    state.shown = state.wanted;
    place_cursor_and_send();
    return true;
  }
  if (state.is_made) drop_made_bytes();
  for (int count = 0; count < kScreenRows; ++count) {
    put_changes(state.next_row);
    state.next_row = state.next_row % kScreenRows + 1;
    if (state.vt100.size() < static_cast<std::size_t>(room)) continue;
    state.vt100.flush();
    return false;
  }
  state.next_row = 1;
  place_cursor_and_send();
  return true;
}

// The terminal shows these cells from now on.
void note_shown(const ConsoleBuffer& cells) {
  state.wanted = state.shown = cells;
  state.is_made = true;
  state.is_written = false;
  state.next_row = 1;
  screen_is_shown();
}

}  // namespace

void vt100_start(TerminalCharset charset) {
  const ScreenLock guard;
  state = State{};
  state.vt100.set_charset(charset);
}

void vt100_begin(int column, int row) {
  const ScreenLock guard;
  if (!state.is_written && !screen_is_late()) state.is_made = true;
  state.is_written = true;
  if (state.is_made) state.vt100.place_cursor(column, row);
}

void vt100_put(std::uint8_t byte, std::uint8_t attribute) {
  if (!state.is_made) return;
  state.vt100.set_attribute(attribute);
  state.vt100.put(byte);
}

void vt100_refresh(const ConsoleBuffer& cells, int column, int row) {
  const ScreenLock guard;
  state.wanted = cells;
  state.cursor = {.column = column, .row = row};
  state.is_written = false;
  const ScreenLine* line = terminal_console().line;
  if (line == nullptr || state.vt100.has_sent_part()) {
    paint(kAnyRoom);
    return screen_is_shown();
  }
  screen_changed(*line, paint);
  if (screen_is_late() && state.is_made) drop_made_bytes();
}

void vt100_repaint(const ConsoleBuffer& cells, int column, int row) {
  const ScreenLock guard;
  state.cursor = {.column = column, .row = row};
  state.vt100.reset_attribute();
  state.vt100.clear();
  for (int each = 1; each <= kScreenRows; ++each) {
    const Row wanted = row_of(cells, each);
    const auto end =
        std::ranges::find_if_not(wanted.rbegin(), wanted.rend(), is_plain_blank).base();
    if (end != wanted.begin()) put_cells(1, each, Row(wanted.begin(), end));
  }
  place_cursor_and_send();
  note_shown(cells);
}

void vt100_clear() {
  const ScreenLock guard;
  state.vt100.clear();
  state.vt100.flush();
  note_shown({});
}

void vt100_bell(const ConsoleBuffer& cells) {
  const ScreenLock guard;
  if (!state.is_made) {
    state.wanted = cells;
    paint(kAnyRoom);
    note_shown(cells);
  }
  state.vt100.bell();
  state.vt100.flush();
}

void vt100_end_look() {
  const ScreenLock guard;
  state.vt100.set_attribute(0);
}

}  // namespace marigold::inner
