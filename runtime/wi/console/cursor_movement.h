// SPDX-License-Identifier: GPL-3.0-or-later
// Plans the shortest common way to move a terminal's cursor. Columns and rows count from 1.
#pragma once

#include <string>

namespace marigold::inner {

// Column 0: at the right edge, after a character was written into the last column; terminals differ
// in the cursor's place then.
struct CursorPosition {
  int column = 1;
  int row = 1;
  bool operator==(const CursorPosition&) const = default;
};

// Along one axis: `count` times the control character `control`, or after `carriage_return` the
// control sequence with the final character `letter` and the parameter `count`.
struct AxisMotion {
  bool carriage_return = false;
  char control = 0;
  char letter = 0;
  int count = 0;
  int cost = 0;  // bytes
};

struct CursorMotion {
  CursorPosition to;
  AxisMotion vertical;
  AxisMotion horizontal;
  bool absolute = false;  // to the position at once, not along the axes
  int cost = 0;           // bytes
};

// `has_axis_positions`: the terminal has the sequences that set the column or the row alone. They
// are newer than the VT220, and every emulator has them. The plan relies on line feeds to keep the
// column.
CursorMotion plan_motion(CursorPosition from, CursorPosition to, bool has_axis_positions);
void append_motion(std::string& out, const CursorMotion& motion);

}  // namespace marigold::inner
