// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/engine/list_state.h"

namespace marigold::inner {
namespace {

ListState state;

}  // namespace

ListState& list_state() {
  return state;
}

}  // namespace marigold::inner
