// SPDX-License-Identifier: GPL-3.0-or-later
// Blanks and scrolls regions of windows.
#include <algorithm>

#include "runtime/wi/window/window_range.h"
#include "runtime/wi/window/window_table.h"

namespace marigold {

using namespace inner;

namespace {

// Returns the part of a region that lies in the window, in rows of the window and columns of the
// screen, both from 0. Takes the region's place as programs give it. The frame is part of the
// window: a program may name it.
Rectangle region_in(const Window& window, int row, int column, int rows, int columns) {
  const Rectangle& at = window.at;
  const long long first_row = row - 1LL + window.inset;
  const long long first_column = column - 1LL + window.inset;
  const int top = bring_between(first_row, 0, at.height);
  const int left = bring_between(first_column, 0, at.width);
  return {top, at.left + left, bring_between(first_row + rows, top, at.height) - top,
          bring_between(first_column + columns, left, at.width) - left};
}

void blank_region(Window& window, const Rectangle& region) {
  for (int row = region.top; row < region.top + region.height; ++row) {
    blank_cells(window.rows[static_cast<std::size_t>(row)], region.left, region.width);
    window.dirty[static_cast<std::size_t>(row)] = true;
  }
}

void copy_row(Window& window, const Rectangle& region, int from, int to) {
  const ScreenRow& source = window.rows[static_cast<std::size_t>(from)];
  ScreenRow& target = window.rows[static_cast<std::size_t>(to)];
  std::copy_n(source.characters.begin() + region.left, region.width,
              target.characters.begin() + region.left);
  std::copy_n(source.attributes.begin() + region.left, region.width,
              target.attributes.begin() + region.left);
  window.dirty[static_cast<std::size_t>(to)] = true;
}

void scroll_region(Window& window, const Rectangle& region, bool down) {
  const int last = region.top + region.height - 1;
  if (down) {
    for (int row = last; row > region.top; --row)
      copy_row(window, region, row - 1, row);
  } else {
    for (int row = region.top; row < last; ++row)
      copy_row(window, region, row + 1, row);
  }
  blank_region(window, {down ? region.top : last, region.left, 1, region.width});
}

}  // namespace

void p_clear_w(int window) {
  Window& target = checked_window(window);
  const int frame = 2 * target.inset;
  blank_region(target, region_in(target, 1, 1, target.at.height - frame, target.at.width - frame));
  refresh_if_live(window);
}

void rangecl_w(int window, int row, int column, int rows, int columns) {
  Window& target = checked_window(window);
  if (rows < 1 || columns < 1) return;
  const WindowSpan first = check_range("rangecl_w", window, row, column, columns);
  if (first.count == 0) return;
  // Too many rows get no message; they would lie outside the window's memory.
  const int below = target.at.height - first.row;
  blank_region(target, {first.row, first.column, std::min(rows, below), first.count});
  refresh_if_live(window);
}

void p_scr_pos_w(int window, int row, int column, int rows, int columns, bool down) {
  Window& target = checked_window(window);
  // Cuts the region to the window without a message. The range check's correction would scroll
  // another region and lose text there.
  const Rectangle region = region_in(target, row, column, rows, columns);
  if (region.height < 1 || region.width < 1) return;
  scroll_region(target, region, down);
  refresh_if_live(window);
}

void p_scroll_w(int window, bool down) {
  const Window& target = checked_window(window);
  const int frame = 2 * target.inset;
  p_scr_pos_w(window, 1, 1, target.at.height - frame, target.at.width - frame, down);
}

}  // namespace marigold
