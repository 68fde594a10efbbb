// SPDX-License-Identifier: GPL-3.0-or-later
// The smallest rectangle with all cells that differ between two screens. Touches no console.
#pragma once

#include "runtime/wi/console/console.h"

namespace marigold::inner {

// Columns and rows from 0, the last ones included.
struct CellRegion {
  int left = 0;
  int top = 0;
  int right = kScreenColumns - 1;
  int bottom = kScreenRows - 1;
  [[nodiscard]] bool is_empty() const { return right < left; }
  bool operator==(const CellRegion&) const = default;
};

CellRegion changed_cells(const ConsoleBuffer& shown, const ConsoleBuffer& wanted);

}  // namespace marigold::inner
