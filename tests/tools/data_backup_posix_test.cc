// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data restore from a backup with pipes in it, at which it must not wait.

#include "tests/tools/data_seams_support.h"

namespace marigold::inner::test {

using DataBackupPosixTest = DataSeamsTest;

TEST_F(DataBackupPosixTest, PipesInABackupAreRefused) {
  load_three();
  EXPECT_EQ(run_shell("./marigold data backup out").status, 0);
  for (const auto& [pipe, status] : {std::pair{"1/BOX.dat", 1}, {"MANIFEST", 2}}) {
    run_shell("rm -rf bad; cp -r out bad; rm bad/"s + pipe + "; mkfifo bad/" + pipe);
    const Finished done = run_shell("timeout 60 ./marigold data restore bad");
    EXPECT_EQ(done.status, status) << pipe << done.err;
    EXPECT_NE(done.err.find(pipe + ": "s), std::string::npos) << done.err;
    EXPECT_EQ(numbers(), "1 2 3 ");
  }
}

}  // namespace marigold::inner::test
