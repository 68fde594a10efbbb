// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/engine.h"

namespace marigold::inner::isam {

int parse_mode(int bits, OpenMode& mode) {
  constexpr int kLockShift = 9;
  constexpr int kLastAccess = 14;
  const int lock = (bits & 0xE00) >> kLockShift;
  const int access = bits & 0x1FF;
  if (lock == 3 || lock > 4 || access == 3 || access > kLastAccess) return kIsBadArgument;
  // Only the lowest two bits matter; old programs pass others along.
  const int direction = access & 3;
  mode.reads = direction != kIsOutput;
  mode.writes = direction != kIsInput;
  mode.automatic = lock == kIsAutoLock >> kLockShift;
  mode.exclusive = lock == kIsExclusive >> kLockShift;
  mode.read_only = (bits & kIsReadOnly) != 0 && !mode.writes;
  return 0;
}

}  // namespace marigold::inner::isam
