// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/program_end.h"

#include <algorithm>
#include <array>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"

namespace marigold::inner {
namespace {

struct State {
  std::array<void (*)(), 8> closers{};  // from the first element on; null after the last one
};
State state;

}  // namespace

void program_end_add(void (*close)()) {
  auto& closers = state.closers;
  if (std::ranges::find(closers, close) != closers.end()) return;
  const auto place = std::ranges::find(closers, nullptr);
  if (place == closers.end()) raise_fatal(kErrorNoMemory);
  *place = close;
}

void program_end_remove(void (*close)()) {
  auto& closers = state.closers;
  std::fill(std::remove(closers.begin(), closers.end(), close), closers.end(), nullptr);
}

void program_end_run() {
  while (auto* close = state.closers.front()) {
    program_end_remove(close);
    close();
  }
}

}  // namespace marigold::inner
