// SPDX-License-Identifier: GPL-3.0-or-later
// Simulates a full disk by a limit on the size of files.
#pragma once

#include <sys/resource.h>

#include "tests/support/support.h"

namespace marigold::inner::test {

// While this object lives, files of this process can be no longer than `bytes`.
struct SizeLimit {
  explicit SizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }

  rlimit before{};
};

}  // namespace marigold::inner::test
