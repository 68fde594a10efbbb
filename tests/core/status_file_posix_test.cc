// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// A start replaces whatever has the name, and does not wait for a pipe.
TEST(StatusFilePosixTest, AStartReplacesLinksAndPipes) {
  const WorkDirectory directory;
  settings_read();
  for (const char* plant : {"mkfifo", "ln -s victim", "ln -s nowhere"}) {
    run_shell("rm -f pstatus.tmp victim; echo precious > victim; "s + plant + " pstatus.tmp");
    status_open("invoice");
    EXPECT_TRUE(open_subsystems().status_file) << plant;
    status_close();
    EXPECT_TRUE(read_file("pstatus.tmp").ends_with("EXIT     =OK\n")) << plant;
    EXPECT_EQ(read_file("victim"), "precious\n") << plant;
    EXPECT_FALSE(std::filesystem::exists("nowhere")) << plant;
  }
  status_start();
}

}  // namespace marigold::inner::test
