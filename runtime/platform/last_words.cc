// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/last_words.h"

namespace marigold::inner {
namespace {

struct State {
  void (*leave)() = nullptr;
};
constinit State state;

}  // namespace

void last_words_set_leave(void (*leave)()) {
  state.leave = leave;
}

void last_words_begin() {
  if (state.leave != nullptr) state.leave();
}

}  // namespace marigold::inner
