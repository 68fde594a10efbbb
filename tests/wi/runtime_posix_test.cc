// SPDX-License-Identifier: GPL-3.0-or-later
// The sample program on a terminal.

#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

// Runs the sample program on a terminal of its own and types keys.
Finished run_on_terminal(const std::string& settings, const std::string& keys) {
  return run_shell("printf '" + keys + "' | " + settings + " script -qec " WINDOWS_PATH " screen");
}

TEST(RuntimePosixTest, AnApplicationStartsShowsAndEnds) {
  const WorkDirectory directory;
  EXPECT_EQ(run_on_terminal("TERM=xterm LC_ALL=C.UTF-8", "\\033OQ\\r \\033OP").status, 0);
  const std::string screen = read_file("screen");
  for (const char* part : {"\x1b[?1049h", "Marigold: windows", "What shall grow?",
                           "Planted: Calendula", "\x1b[?1049l"}) {
    EXPECT_NE(screen.find(part), std::string::npos) << part;
  }
  EXPECT_NE(read_file("pstatus.tmp").find("EXIT     =OK"), std::string::npos);
  EXPECT_EQ(run_on_terminal("COMFAXUSEVT100=", "\\0061").status, 0);
  EXPECT_NE(read_file("screen").find("\x1b[7mWindow 3\x1b[m"), std::string::npos);
  const Finished without = run_shell(WINDOWS_PATH " </dev/null");
  EXPECT_EQ(without.status, 1);
  EXPECT_NE(without.err.find("standard input is not a terminal"), std::string::npos);
}

}  // namespace
}  // namespace marigold::inner::test
