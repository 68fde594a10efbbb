// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/window/window_range.h"

#include <algorithm>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/wi/window/window_table.h"

namespace marigold::inner {
namespace {

// The messages of one check. None of them has a help page.
class Report {
 public:
  explicit Report(const char* operation) : operation_(operation) {}

  void say(const char* text) {
    if (!named_) user_interface().message(operation_, "");
    named_ = true;
    user_interface().message(text, "");
  }

 private:
  const char* operation_;
  bool named_ = false;
};

}  // namespace

WindowSpan check_range(const char* operation, int window, int row, int column, int count) {
  const Window& target = window_state().windows[static_cast<std::size_t>(window)];
  Report report(operation);
  if (!target.used) {
    report.say("WINDOW not initialized!");
    raise_fatal(kErrorWindowText);
  }
  // Wider than int, because these are sums of numbers that programs give.
  const long long inset = target.inset;
  long long inner_row = row;
  long long inner_column = column;
  long long cells = count;
  // A place before the first row or column gets no message of its own; its cells would lie outside
  // the window's memory.
  if (inner_row + inset < 1) inner_row = 1;
  if (inner_column + inset < 1) inner_column = 1;
  // The programs' screens rely on these corrections. Each correction includes the inset, and the
  // inset is added once more below. So a framed window is corrected to its second row or column,
  // and programs can write on its bottom and right frame.
  if (inner_row + inset > target.at.height) {
    report.say("row value to high! (Reduced to 1)");
    inner_row = inset + 1;
  }
  if (inner_column + inset > target.at.width) {
    report.say("column value to high! (Reduced to 1)");
    inner_column = inset + 1;
  }
  if (inner_column + cells - 1 + inset > target.at.width) {
    report.say("string length too long! (Reduced)");
    cells = std::max(target.at.width - inner_column - inset, 0LL);
  }
  // A window can be too small even for its first row, from its creation or an adjustment.
  if (inner_row + inset > target.at.height) cells = 0;
  return {static_cast<int>(inner_row + inset - 1),
          static_cast<int>(target.at.left + inner_column + inset - 1), static_cast<int>(cells)};
}

}  // namespace marigold::inner
