// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer_position.h"

#include <algorithm>

namespace marigold::inner {
namespace {

// Longer than any list, and small enough for sums without overflow.
constexpr std::int64_t kOnePage = std::int64_t{1} << 56;

}  // namespace

ViewerPosition::ViewerPosition(std::int64_t lines, int width, int page_length)
    : lines_(lines), width_(width), page_length_(page_length < 1 ? kOnePage : page_length) {}

std::int64_t ViewerPosition::last_line() const {
  return std::max<std::int64_t>(lines_ - kViewerRows + 1, 1);
}

int ViewerPosition::last_column() const {
  return std::max(width_ - kViewerColumns + 1, 1);
}

void ViewerPosition::start() {
  line_ = 1;
  column_ = 1;
}

void ViewerPosition::end() {
  line_ = last_line();
  column_ = 1;
}

void ViewerPosition::go_to(std::int64_t line) {
  line_ = std::clamp<std::int64_t>(line, 1, last_line());
}

void ViewerPosition::go_to_column(int column) {
  column_ = std::clamp(column, 1, last_column());
}

void ViewerPosition::bring_into_sight(std::int64_t line, int column, int count) {
  if (!in_sight(line)) go_to(line);
  // The end first, so that of too many columns the first ones are shown.
  if (column + count > column_ + kViewerColumns) go_to_column(column + count - kViewerColumns);
  if (column < column_) go_to_column(column);
}

}  // namespace marigold::inner
