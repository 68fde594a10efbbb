// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/window/window_table.h"

#include <algorithm>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"

namespace marigold::inner {
namespace {

constinit WindowState state;

}  // namespace

WindowState& window_state() {
  return state;
}

std::span<std::uint8_t> shown_windows() {
  return std::span(state.stack).first(static_cast<std::size_t>(state.shown));
}

Window& checked_window(int window) {
  if (window < 0 || window > kWindows) raise_fatal(kErrorWindowNumber);
  Window& found = state.windows[static_cast<std::size_t>(window)];
  if (!found.used) raise_fatal(kErrorWindowNumber);
  return found;
}

int bring_between(long long value, int low, int high) {
  return static_cast<int>(std::max<long long>(low, std::min<long long>(value, high)));
}

void blank_cells(ScreenRow& row, int column, int count) {
  std::fill_n(row.characters.begin() + column, count, std::uint8_t{' '});
  std::fill_n(row.attributes.begin() + column, count, kAttributePlain);
}

void refresh_if_live(int window) {
  if (state.live && wi_active() == window) wi_refresh_active();
}

}  // namespace marigold::inner
