// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/walk_ahead.h"

#include <utility>

#include "runtime/core/settings.h"
#include "runtime/isam/common/isam.h"

namespace marigold::inner {

int walk_ahead(int descriptor, int wanted, int& told) {
  constexpr int kForLists = 1024;  // records
  const int now = open_subsystems().print_engine ? kForLists : wanted;
  if (std::exchange(told, now) == now) return 0;
  return isahead(descriptor, now) == 0 ? 0 : iserrno;
}

}  // namespace marigold::inner
