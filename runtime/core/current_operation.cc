// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/current_operation.h"

namespace marigold::inner {
namespace {

struct State {
  const char* name = "";
};

constinit State state;

}  // namespace

void set_current_operation(const char* name) {
  state.name = name;
}

const char* current_operation() {
  return state.name;
}

}  // namespace marigold::inner
