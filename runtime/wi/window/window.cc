// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "runtime/core/settings.h"
#include "runtime/wi/window/compose.h"
#include "runtime/wi/window/window_table.h"

namespace marigold {

using namespace inner;

namespace {

bool is_on_top(int window) {
  return wi_active() == window;
}

bool is_shown(int window) {
  return std::ranges::find(shown_windows(), window) != shown_windows().end();
}

// Removes the window from the stack. If it was active, the next one below becomes active.
void take_off_the_stack(int window) {
  const auto shown = shown_windows();
  const auto end = std::remove(shown.begin(), shown.end(), window);
  window_state().shown = static_cast<int>(end - shown.begin());
}

void uncover(int window) {
  compose_hide(window);
  write_rectangle(window);
}

// Moves the cells with the window, because they lie at their columns of the screen.
void shift_cells(Window& window, int new_left) {
  const auto left = static_cast<std::size_t>(window.at.left);
  const auto to = static_cast<std::size_t>(new_left);
  const auto width = static_cast<std::size_t>(window.at.width);
  for (ScreenRow& row : std::span(window.rows).first(static_cast<std::size_t>(window.at.height))) {
    std::memmove(row.characters.data() + to, row.characters.data() + left, width);
    std::memmove(row.attributes.data() + to, row.attributes.data() + left, width);
  }
}

}  // namespace

void inner::wi_start() {
  WindowState& state = window_state();
  state = WindowState{};
  for (ScreenRow& row : state.composed)
    row_fill(row, ' ', kAttributePlain);
  line_drawing_start(state.line_drawing);
  attribute_table_start(state.attributes);
  key_hooks().restore_cursor = wi_restore_cursor;
  open_subsystems().window_system = true;
}

void p_active_w(int window) {
  Window& target = checked_window(window);
  if (is_on_top(window)) return;
  take_off_the_stack(window);
  WindowState& state = window_state();
  state.stack[static_cast<std::size_t>(state.shown)] = static_cast<std::uint8_t>(window);
  ++state.shown;
  target.dirty.fill(true);
  wi_refresh_active();
}

void p_de_active_w(int window) {
  Window& target = checked_window(window);
  if (!is_shown(window)) return;
  uncover(window);
  target.dirty.fill(true);
  take_off_the_stack(window);
}

void p_destroy_w(int window) {
  Window& target = checked_window(window);
  if (is_shown(window)) {
    uncover(window);
    take_off_the_stack(window);
  }
  target.used = false;
  if (window_state().flushing) terminal_refresh();
}

void p_move_w(int window, int row_delta, int column_delta) {
  Window& target = checked_window(window);
  const Rectangle old_place = target.at;
  Rectangle new_place = old_place;
  new_place.top = bring_between(old_place.top + static_cast<long long>(row_delta), 0,
                                kScreenRows - old_place.height);
  new_place.left = bring_between(old_place.left + static_cast<long long>(column_delta), 0,
                                 kScreenColumns - old_place.width);
  if (new_place.top == old_place.top && new_place.left == old_place.left) return;
  compose_hide(window);
  shift_cells(target, new_place.left);
  target.at = new_place;
  compose_show(window);
  target.at = old_place;
  write_rectangle(window);
  target.at = new_place;
  write_rectangle(window);
}

void p_adjust_w(int window, int top, int left, int height, int width) {
  Window& target = checked_window(window);
  if (is_on_top(window)) return;
  // Changes only the record: cells do not move and nothing is drawn, and programs that adjust a
  // window show it afterwards. First the size and then the place are brought within the screen,
  // since every copy of cells relies on that.
  Rectangle& at = target.at;
  if (height != -1) at.height = bring_between(height, 0, kScreenRows);
  if (width != -1) at.width = bring_between(width, 0, kScreenColumns);
  at.top = bring_between(top, 0, kScreenRows - at.height);
  at.left = bring_between(left, 0, kScreenColumns - at.width);
}

void p_refreshany_w(int window) {
  checked_window(window);
  compose_hide(window);
  compose_show(window);
  write_rectangle(window);
}

void get_window_paras(int window, WindowPlace& place) {
  const Window& target = checked_window(window);
  place = {.row = target.at.top + 1,
           .column = target.at.left + 1,
           .height = target.at.height,
           .width = target.at.width,
           .no_frame = target.inset != 1};
}

void wi_refresh_active() {
  WindowState& state = window_state();
  if (wi_active() != kNoWindow) {
    Window& active = checked_window(wi_active());
    for (int row = 0; row < active.at.height; ++row) {
      bool& dirty = active.dirty[static_cast<std::size_t>(row)];
      if (dirty && active.at.width > 0) {
        terminal_write_row(active.rows[static_cast<std::size_t>(row)], active.at.top + row + 1,
                           active.at.left + 1, active.at.width);
      }
      dirty = false;
    }
  }
  if (state.live || state.flushing) terminal_refresh();
}

bool wi_live() {
  return window_state().live;
}

void wi_set_live(bool live) {
  window_state().live = live;
}

bool wi_flushing() {
  return window_state().flushing;
}

void wi_set_flushing(bool flushing) {
  window_state().flushing = flushing;
}

int wi_active() {
  const WindowState& state = window_state();
  return state.shown == 0 ? kNoWindow : state.stack[static_cast<std::size_t>(state.shown) - 1];
}

void wi_set_cursor(int window, int row, int column) {
  const Window& target = checked_window(window);
  WindowState& state = window_state();
  // A cursor outside the window goes to the nearest cell without a message; in an empty window it
  // goes to the place where the window would begin.
  const Rectangle& at = target.at;
  const int row_inside = bring_between(row - 1LL + target.inset, 0, std::max(at.height - 1, 0));
  const int column_inside =
      bring_between(column - 1LL + target.inset, 0, std::max(at.width - 1, 0));
  state.cursor_row = std::min(at.top + row_inside, kScreenRows - 1);
  state.cursor_column = std::min(at.left + column_inside, kScreenColumns - 1);
  wi_restore_cursor();
}

void wi_restore_cursor() {
  const WindowState& state = window_state();
  terminal_set_cursor(state.cursor_column + 1, state.cursor_row + 1);
}

}  // namespace marigold
