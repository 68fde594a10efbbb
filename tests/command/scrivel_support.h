// SPDX-License-Identifier: GPL-3.0-or-later
// The command in a work directory, with an empty environment.
#pragma once

#include "tests/support/support.h"

namespace marigold::inner::test {

inline const std::string kTexts = "locale/default/textdb";

struct ScrivelTest : testing::Test {
  ScrivelTest() {
    clearenv();
    setenv("PATH", "/usr/bin:/bin", 1);
    place_program(SCRIVEL, "scrivel");
  }
  static void expect(std::initializer_list<Finished> runs) { expect_runs("./scrivel", runs); }

  WorkDirectory directory;
};

}  // namespace marigold::inner::test
