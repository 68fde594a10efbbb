// SPDX-License-Identifier: GPL-3.0-or-later
// Runs the tests of a program, or one child of a test; see process.h.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "tests/support/process.h"

namespace marigold::inner::test {

static bool is_long = false;

bool is_long_run() {
  return is_long;
}

}  // namespace marigold::inner::test

int main(int count, char** arguments) {
  namespace test = marigold::inner::test;
  const test::Words words(arguments + 1, arguments + count);
  const auto child = std::ranges::find(words, "--child");
  test::is_long = std::find(words.begin(), child, "--long") != child;
  if (child == words.end()) {
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
  }
  test::end_within(test::is_long ? 0 : 100);
  const int status =
      child + 1 == words.end() ? 2 : test::ChildBody::run(child[1], {child + 2, words.end()});
  std::fflush(nullptr);
  // Like a killed process, it ends without the destructors of the runtime's state.
  std::_Exit(status);
}
