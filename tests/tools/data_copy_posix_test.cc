// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data copy that is killed.

#include "runtime/isam/common/cluster_address.h"
#include "tests/tools/data_copy_support.h"

namespace marigold::inner::test {
namespace {

// Whenever the process dies, the old file or the new one is there, and the next run needs no help.
TEST_F(DataCopyTest, AKilledCopyLeavesTheOldFileOrTheNewOne) {
  expect({{"copy data/%p " + there + "BOX", far_box + ": 3 records copied\n"}});
  write_file("many.csv", box_numbers(10, 6000));
  expect({{"load BOX many.csv", "./data/1/BOX: 5991 records loaded\n"}});
  bool before = false;
  bool after = false;
  for (int milliseconds = 0; !after; milliseconds += milliseconds / 2 + 1) {
    const std::string wait =
        milliseconds == 0 ? "" : "sleep " + std::to_string(milliseconds / 1000.0) + "; ";
    run_shell("./marigold data copy data/%p " + there + "BOX --replace & " + wait +
              "kill -9 $!; wait");
    forget_the_killed();
    const Finished check = run_in(far, "check --quick BOX");
    const std::string found = numbers(far, 1);
    before = before || found == "1 2 3 ";
    after = found.size() > 10000;
    // Two files of a directory cannot be replaced in one step; until they are, no program uses them.
    const bool between = !is_cluster_address(far) && check.status != 0;
    EXPECT_TRUE(after || found == "1 2 3 " || between) << found << check.out << check.err;
  }
  EXPECT_TRUE(before);
  const std::string copied = far_box + ": 5994 records copied\n";
  expect({{"copy data/%p " + there + "BOX --replace", copied}});
  EXPECT_EQ(run_in(far, "check BOX").out, far_box + ": 5994 records, no damage\n");
}

}  // namespace
}  // namespace marigold::inner::test
