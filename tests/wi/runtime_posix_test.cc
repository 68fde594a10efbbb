// SPDX-License-Identifier: GPL-3.0-or-later
// The sample program on a terminal.

#include "tests/support/support.h"
#include "tests/support/terminal_session.h"

namespace marigold::inner::test {
namespace {

void run_sample() {
  execl(WINDOWS_PATH, WINDOWS_PATH, nullptr);
}
void run_sample_on_vt100() {
  setenv("COMFAXUSEVT100", "", 1);
  run_sample();
}

TEST(RuntimePosixTest, AnApplicationStartsShowsAndEnds) {
  ApplicationSession console(run_sample);
  EXPECT_TRUE(console.shows_in_row(1, "Marigold: windows"));
  EXPECT_TRUE(console.emulator.alternate_screen());
  console.type("\x1bOQ");
  EXPECT_TRUE(console.shows_in_row(7, "What shall grow?"));
  console.type("\r");
  EXPECT_TRUE(console.shows_in_row(24, "Planted: Calendula"));
  console.type(" \x1bOP");
  EXPECT_EQ(console.outcome(), 0);
  EXPECT_TRUE(console.restored());
  EXPECT_NE(read_file("pstatus.tmp").find("EXIT     =OK"), std::string::npos);
  TerminalSession vt100(run_sample_on_vt100, 80, 24);
  EXPECT_TRUE(vt100.shows_in_row(11, "Window 3"));
  EXPECT_NE(vt100.emulator.cell(11, 30).attrs.reverse, 0);
  vt100.type("\x06"s + "1");
  EXPECT_EQ(vt100.outcome(), 0);
  const Finished without = run_shell(WINDOWS_PATH " </dev/null");
  EXPECT_EQ(without.status, 1);
  EXPECT_NE(without.err.find("standard input is not a terminal"), std::string::npos);
}

}  // namespace
}  // namespace marigold::inner::test
