// SPDX-License-Identifier: GPL-3.0-or-later
// The interface of the engine, as its own sources and the runtime's include it.
#pragma once

#include "marigold/isam.h"  // IWYU pragma: export

namespace marigold::inner {

// Does what ISCLOSE does for a file that is exclusively open, but keeps its locks: other files can
// then take the names of the pair, or it can be removed, before another process opens it. Only
// ISCLOSE may follow; everything else is 101. 102 for a file that others may have open.
int isretire(int number);

}  // namespace marigold::inner
