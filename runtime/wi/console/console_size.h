// How a console of another size becomes one of 80 columns by 24 rows.
#pragma once

#include <algorithm>
#include <cstdint>

#include "marigold/windows.h"

namespace marigold {

struct ConsoleSize {
  int columns;
  int rows;
};

// A console refuses a window that is larger than its buffer, and a buffer that is smaller than its
// window: what shrinks begins with the window, what grows with the buffer.
enum class ConsoleOrder : std::uint8_t { kNeither, kWindowFirst, kBufferFirst };

struct ConsoleSizing {
  ConsoleOrder order;
  // The window's last column and row, from 0; its first are 0. The buffer becomes 80 by 24.
  int right;
  int bottom;
};

// The buffer is compared by its number of cells, as it is now; the largest window is what fits on
// the display. A buffer of as many cells in another shape is left alone.
constexpr ConsoleSizing console_sizing(ConsoleSize buffer, ConsoleSize largest_window) {
  constexpr int kCells = kScreenColumns * kScreenRows;
  const int cells = buffer.columns * buffer.rows;
  ConsoleOrder order = ConsoleOrder::kNeither;
  if (cells > kCells) order = ConsoleOrder::kWindowFirst;
  if (cells < kCells) order = ConsoleOrder::kBufferFirst;
  return {order, std::min(kScreenColumns, largest_window.columns) - 1,
          std::min(kScreenRows, largest_window.rows) - 1};
}

}  // namespace marigold
