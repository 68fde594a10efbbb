// SPDX-License-Identifier: GPL-3.0-or-later
// Changes a console of another size to 80 columns by 24 rows.
#pragma once

#include <algorithm>
#include <string>

#include "marigold/windows.h"

namespace marigold::inner {

struct ConsoleSize {
  int columns = 0;
  int rows = 0;
  bool operator==(const ConsoleSize&) const = default;
};

inline constexpr ConsoleSize kScreenSize = {kScreenColumns, kScreenRows};

// A console refuses a window larger than its buffer, and a buffer smaller than its window. So the
// window is shrunk first, then the buffer becomes 80 by 24, and then the window grows.
struct ConsoleSizing {
  ConsoleSize shrunk_window;
  ConsoleSize window;
};

constexpr ConsoleSize smaller(ConsoleSize one, ConsoleSize other) {
  return {std::min(one.columns, other.columns), std::min(one.rows, other.rows)};
}

// Takes the present window and the largest one that fits on the display: on a small display the
// window shows a part of the buffer.
constexpr ConsoleSizing console_sizing(ConsoleSize window, ConsoleSize largest_window) {
  return {.shrunk_window = smaller(window, kScreenSize),
          .window = smaller(kScreenSize, largest_window)};
}

constexpr bool is_too_small(ConsoleSize size) {
  return size.columns < kScreenColumns || size.rows < kScreenRows;
}

// Returns the message for a terminal that is too small, cut to its columns.
std::string size_message(ConsoleSize size);

}  // namespace marigold::inner
