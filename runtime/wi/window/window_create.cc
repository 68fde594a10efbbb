// SPDX-License-Identifier: GPL-3.0-or-later
// Creates windows: plain ones and those for messages and headers.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "runtime/core/line_output.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/wi/window/window_table.h"

namespace marigold {

using namespace inner;

namespace {

constexpr int kSmallestFramed = 3;  // rows and columns
constexpr int kLongestStatus = 78;
constexpr int kHeaderCentre = 40;
// Windows beside the active one leave the last rows to messages and function keys.
constexpr int kRowsBeside = 19;

constexpr const char* kPanic = "PANIC! No More Windows!";

// Returns the lowest free number; 0 without one.
int find_free() {
  const WindowState& state = window_state();
  for (int number = 1; number <= kWindows; ++number)
    if (!state.windows[static_cast<std::size_t>(number)].used) return number;
  return 0;
}

int free_window() {
  if (const int number = find_free(); number != 0) return number;
  terminal_clear();
  // Writes on standard error: a message of the user interface would need a window, and the screen
  // is left.
  user_interface().hand_terminal_back();
  line_output_text(1, 1, kPanic, static_cast<int>(std::strlen(kPanic)));
  raise_fatal(kErrorWindow);
}

// Whether the whole window is on the screen. Top and left count from 1. The checks of single values
// come first, so that no sum overflows.
bool on_the_screen(int top, int left, int height, int width) {
  if (top < 1 || left < 1 || height < 0 || width < 0) return false;
  if (top > kScreenRows || left > kScreenColumns) return false;
  if (height > kScreenRows || width > kScreenColumns) return false;
  return top + height < kScreenRows + 2 && left + width < kScreenColumns + 2;
}

void draw_frame(Window& window) {
  const WindowState& state = window_state();
  const auto left = static_cast<std::size_t>(window.at.left);
  const auto right = left + static_cast<std::size_t>(window.at.width) - 1;
  const auto bottom = static_cast<std::size_t>(window.at.height) - 1;
  const auto draw = [&](std::size_t row, std::size_t column, LineDrawing code) {
    window.rows[row].characters[column] = state.line_drawing[code];
    window.rows[row].attributes[column] = kAttributeLineDrawing;
  };
  for (std::size_t column = left + 1; column < right; ++column) {
    draw(0, column, kLineHorizontal);
    draw(bottom, column, kLineHorizontal);
  }
  for (std::size_t row = 1; row < bottom; ++row) {
    draw(row, left, kLineVertical);
    draw(row, right, kLineVertical);
  }
  draw(0, left, kLineTopLeft);
  draw(0, right, kLineTopRight);
  draw(bottom, left, kLineBottomLeft);
  draw(bottom, right, kLineBottomRight);
}

void draw_header_line(int window, int kind) {
  if (kind != 1 && kind != 2) return;
  ScreenRow line;
  if (kind == 1)
    row_fill(line, kLineHorizontal, kAttributeLineDrawing);
  else
    row_fill(line, '=', kAttributePlain);
  p_print_tzeile(window, 2, 1, kScreenColumns, line);
}

}  // namespace

bool inner::wi_has_free_window() {
  return find_free() != 0;
}

void create_w(int& window, int top, int left, int height, int width, bool no_frame) {
  const int number = free_window();
  if (!on_the_screen(top, left, height, width)) raise_fatal(kErrorWindowPlace);
  Window& made = window_state().windows[static_cast<std::size_t>(number)];
  made.used = true;
  made.at = {top - 1, left - 1, height, width};
  made.attribute = kAttributePlain;
  // Blank the rows below the window too: an adjustment of its height can show them.
  for (ScreenRow& row : made.rows)
    row_fill(row, ' ', kAttributePlain);
  made.dirty.fill(true);
  const bool framed = !no_frame && height >= kSmallestFramed && width >= kSmallestFramed;
  made.inset = framed ? 1 : 0;
  if (framed) draw_frame(made);
  window = number;
}

void create_beside_w(int& window, int row_offset, int column_offset, int height, int width,
                     bool no_frame) {
  if (wi_active() == kNoWindow) {
    create_w(window, 3, 1, height, width, no_frame);
    return;
  }
  const Rectangle& at = checked_window(wi_active()).at;
  const long long rows_left = static_cast<long long>(kRowsBeside) - at.top - height - row_offset;
  const long long columns_left =
      static_cast<long long>(kScreenColumns) - at.left - width - column_offset;
  const long long top = 1LL + at.top + row_offset + std::min(rows_left, 0LL);
  const long long left = 1LL + at.left + column_offset + std::min(columns_left, 0LL);
  // A window that would begin before the first row or column begins there, if it fits the screen.
  create_w(window, bring_between(top, 1, kScreenRows), bring_between(left, 1, kScreenColumns),
           height, width, no_frame);
}

void create_message_w(int& window) {
  create_w(window, 21, 2, 3, kLongestStatus, true);
}

void create_status_w(int& window, const char* text) {
  const std::size_t length = text == nullptr ? 0 : strnlen(text, kLongestStatus);
  std::array<char, kLongestStatus + 1> cut{};
  if (length > 0) std::memcpy(cut.data(), text, length);
  create_w(window, kScreenRows, 2, 1, static_cast<int>(length), true);
  p_set_atr(window, "0010");
  p_printstr(window, 1, 1, cut.data());
  p_active_w(window);
}

void create_header_w(int& window, const char* text, int kind) {
  create_w(window, 1, 1, 2, kScreenColumns, true);
  p_set_atr(window, "0000");
  p_set_atr(window, "0110");
  // The range check cuts a text that is too long to be centred, and reports that.
  const std::size_t length = text == nullptr ? 0 : strnlen(text, kScreenColumns + 1);
  p_printstr(window, 1, kHeaderCentre - static_cast<int>(length / 2), text);
  draw_header_line(window, kind);
  p_active_w(window);
  // The window on top stays on top. The terminal still shows the header's rows, since nothing is
  // composed here: windows should not reach into those rows.
  WindowState& state = window_state();
  if (state.shown < 2) return;
  const auto top = static_cast<std::size_t>(state.shown) - 1;
  std::swap(state.stack[top], state.stack[top - 1]);
}

void p_destroy_kopfzeile(int window) {
  p_destroy_w(window);
}

}  // namespace marigold
