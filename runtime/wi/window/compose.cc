// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/window/compose.h"

#include <algorithm>
#include <cstring>

#include "runtime/wi/window/window_table.h"

namespace marigold::inner {
namespace {

Rectangle overlap(const Rectangle& a, const Rectangle& b) {
  const int top = std::max(a.top, b.top);
  const int left = std::max(a.left, b.left);
  return {top, left, std::min(a.top + a.height, b.top + b.height) - top,
          std::min(a.left + a.width, b.left + b.width) - left};
}

void copy_cells(ScreenRow& to, const ScreenRow& from, int column, int count) {
  std::memcpy(to.characters.data() + column, from.characters.data() + column,
              static_cast<std::size_t>(count));
  std::memcpy(to.attributes.data() + column, from.attributes.data() + column,
              static_cast<std::size_t>(count));
}

// Copies nothing for an empty region.
void copy_region(WindowState& state, const Window& from, const Rectangle& region) {
  if (region.width <= 0) return;
  for (int row = region.top; row < region.top + region.height; ++row) {
    copy_cells(state.composed[static_cast<std::size_t>(row)],
               from.rows[static_cast<std::size_t>(row - from.at.top)], region.left, region.width);
  }
}

}  // namespace

void compose_hide(int window) {
  WindowState& state = window_state();
  for (ScreenRow& row : state.composed)
    row_fill(row, ' ', kAttributePlain);
  const Rectangle& region = state.windows[static_cast<std::size_t>(window)].at;
  for (const std::uint8_t number : shown_windows()) {
    const Window& other = state.windows[number];
    if (number != window) copy_region(state, other, overlap(other.at, region));
  }
}

void compose_show(int window) {
  WindowState& state = window_state();
  const Rectangle& region = state.windows[static_cast<std::size_t>(window)].at;
  // Upper windows come later and cover lower ones.
  for (const std::uint8_t number : shown_windows()) {
    const Window& shown = state.windows[number];
    copy_region(state, shown, overlap(shown.at, region));
  }
}

void write_rectangle(int window) {
  const WindowState& state = window_state();
  const Rectangle& at = state.windows[static_cast<std::size_t>(window)].at;
  if (at.width == 0) return;
  for (int row = at.top; row < at.top + at.height; ++row) {
    terminal_write_row(state.composed[static_cast<std::size_t>(row)], row + 1, at.left + 1,
                       at.width);
  }
}

}  // namespace marigold::inner
