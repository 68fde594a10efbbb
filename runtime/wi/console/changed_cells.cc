// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/changed_cells.h"

#include <algorithm>

namespace marigold::inner {

CellRegion changed_cells(const ConsoleBuffer& shown, const ConsoleBuffer& wanted) {
  CellRegion region{.left = kScreenColumns, .top = kScreenRows, .right = -1, .bottom = -1};
  for (int index = 0; index < kScreenColumns * kScreenRows; ++index) {
    const auto cell = static_cast<std::size_t>(index);
    if (shown[cell] == wanted[cell]) continue;
    const int column = index % kScreenColumns;
    const int row = index / kScreenColumns;
    region = {.left = std::min(region.left, column),
              .top = std::min(region.top, row),
              .right = std::max(region.right, column),
              .bottom = row};
  }
  return region;
}

}  // namespace marigold::inner
