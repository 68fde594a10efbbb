// SPDX-License-Identifier: GPL-3.0-or-later
// Prints text and single cells into windows.
#include <algorithm>
#include <cstring>

#include "runtime/wi/window/window_range.h"
#include "runtime/wi/window/window_table.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kAttributeLetters = 4;

// Notes changed cells. The row stays dirty even if a live window writes the cells at once: the next
// refresh writes the whole row.
void cells_changed(int window, const WindowSpan& span) {
  WindowState& state = window_state();
  Window& target = state.windows[static_cast<std::size_t>(window)];
  const auto row = static_cast<std::size_t>(span.row);
  target.dirty[row] = true;
  if (!state.live || wi_active() != window) return;
  terminal_write_row(target.rows[row], target.at.top + span.row + 1, span.column + 1, span.count);
  terminal_refresh();
}

void print_text(const char* operation, int window, int row, int column, const char* text,
                int length) {
  const WindowSpan span = check_range(operation, window, row, column, length);
  if (span.count == 0) return;
  Window& target = window_state().windows[static_cast<std::size_t>(window)];
  ScreenRow& cells = target.rows[static_cast<std::size_t>(span.row)];
  std::memcpy(cells.characters.data() + span.column, text, static_cast<std::size_t>(span.count));
  std::fill_n(cells.attributes.begin() + span.column, span.count, target.attribute);
  cells_changed(window, span);
}

}  // namespace

void p_set_atr(int window, const char* attribute) {
  int index = 0;
  // The end of a shorter text, or null, counts as not "1".
  for (std::size_t bit = 0; attribute != nullptr && bit < kAttributeLetters; ++bit) {
    if (attribute[bit] == '\0') break;
    if (attribute[bit] == '1') index |= 1 << bit;
  }
  p_Mset_atr(window, index);
}

void p_Mset_atr(int window, int attribute_index) {
  // Only the four bits count: a greater index has no entry in the table.
  const auto index = static_cast<unsigned>(attribute_index) % 16U;
  checked_window(window).attribute = window_state().attributes[index];
}

void p_printstr(int window, int row, int column, const char* text) {
  checked_window(window);
  // The range check cuts a text longer than the screen is wide in any case.
  const std::size_t length = text == nullptr ? 0 : strnlen(text, kScreenColumns + 1);
  if (length == 0) return;
  print_text("p_printstr", window, row, column, text, static_cast<int>(length));
}

void p_printchar(int window, int row, int column, char character) {
  checked_window(window);
  print_text("p_printchar", window, row, column, &character, 1);
}

void p_printsonder(int window, int row, int column, int code, int count) {
  Window& target = checked_window(window);
  // The table has no character for any other code: nothing is drawn.
  if (count < 1 || code < 0 || code >= kLineDrawingCodes) return;
  WindowSpan span = check_range("p_printsonder", window, row, column, count);
  // One column to the left, so that a line from column 1 of a framed window begins on the frame.
  // Without a frame that copy would lie outside the window and is left out.
  --span.column;
  if (span.column < target.at.left) {
    ++span.column;
    --span.count;
  }
  if (span.count < 1) return;
  ScreenRow& cells = target.rows[static_cast<std::size_t>(span.row)];
  std::fill_n(cells.characters.begin() + span.column, span.count,
              window_state().line_drawing[static_cast<std::size_t>(code)]);
  std::fill_n(cells.attributes.begin() + span.column, span.count,
              static_cast<std::uint8_t>(target.attribute | kAttributeLineDrawing));
  cells_changed(window, span);
}

void p_print_tzeile(int window, int row, int column, int count, const ScreenRow& cells) {
  Window& target = checked_window(window);
  if (count < 1) return;
  const WindowSpan span = check_range("p_print_tzeile", window, row, column, count);
  if (span.count == 0) return;
  ScreenRow& to = target.rows[static_cast<std::size_t>(span.row)];
  std::copy_n(cells.characters.begin(), span.count, to.characters.begin() + span.column);
  std::copy_n(cells.attributes.begin(), span.count, to.attributes.begin() + span.column);
  cells_changed(window, span);
}

}  // namespace marigold
