// SPDX-License-Identifier: GPL-3.0-or-later
// The hook before the steps of a conversion that change the disk.
#pragma once

namespace marigold::inner {

// Called before each step if set: 0 lets the step happen, a system error number replaces the step.
// Tests use the hook to let a disk fail or to kill the process at each step; it is null in every
// other program.
extern int (*conversion_step_hook)(const char* step);

inline int conversion_step(const char* step) {
  return conversion_step_hook == nullptr ? 0 : conversion_step_hook(step);
}

}  // namespace marigold::inner
