// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/core.h"

namespace marigold {

const char* library_version() {
  return MARIGOLD_VERSION;
}

}  // namespace marigold
