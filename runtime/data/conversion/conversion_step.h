// The steps of a conversion that change what is on the disk.
#pragma once

namespace marigold {

// Asked before each of them when set: 0 lets it happen, a system error number takes its place. For
// tests that let a disk fail or kill the process at each step; null in every other program.
extern int (*conversion_step_hook)(const char* step);

inline int conversion_step(const char* step) {
  return conversion_step_hook == nullptr ? 0 : conversion_step_hook(step);
}

}  // namespace marigold
