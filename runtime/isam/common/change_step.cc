// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/change_step.h"

#include <atomic>

namespace marigold::inner::isam {

void (*change_step_hook)() = nullptr;

void change_step() {
  std::atomic_signal_fence(std::memory_order_seq_cst);  // no store moves past a step
  if (change_step_hook != nullptr) change_step_hook();
}

}  // namespace marigold::inner::isam
