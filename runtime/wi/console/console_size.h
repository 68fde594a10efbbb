// SPDX-License-Identifier: GPL-3.0-or-later
// Changes a console of another size to 80 columns by 24 rows.
#pragma once

#include <algorithm>
#include <cstdint>

#include "marigold/windows.h"

namespace marigold::inner {

struct ConsoleSize {
  int columns;
  int rows;
};

// A console refuses a window larger than its buffer, and a buffer smaller than its window. So
// shrinking begins with the window, and growing with the buffer.
enum class ConsoleOrder : std::uint8_t { kNeither, kWindowFirst, kBufferFirst };

struct ConsoleSizing {
  ConsoleOrder order;
  // The window's last column and row, from 0; its first are 0. The buffer becomes 80 by 24.
  int right;
  int bottom;
};

// Compares the present buffer by its number of cells; the largest window is the one that fits on
// the display. A buffer with as many cells in another shape stays as it is.
constexpr ConsoleSizing console_sizing(ConsoleSize buffer, ConsoleSize largest_window) {
  constexpr int kCells = kScreenColumns * kScreenRows;
  const int cells = buffer.columns * buffer.rows;
  ConsoleOrder order = ConsoleOrder::kNeither;
  if (cells > kCells) order = ConsoleOrder::kWindowFirst;
  if (cells < kCells) order = ConsoleOrder::kBufferFirst;
  return {order, std::min(kScreenColumns, largest_window.columns) - 1,
          std::min(kScreenRows, largest_window.rows) - 1};
}

}  // namespace marigold::inner
