// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/posix/fork.h"
#include "runtime/data/access/lock_file.h"
#include "tests/data/support.h"

namespace marigold::inner::test {

// A forked child holds none of its parent's open files and locks.
TEST_F(DataTest, AForkedChildHoldsNothing) {
  const FileDefinition defined = stock();
  DataFile file(defined);
  ASSERT_EQ(data_open(file, LockWait::kTell), kDataDone);
  ASSERT_EQ(write(file, 0), kDataDone);
  ASSERT_EQ(path_lock_shared(4), 0);
  ASSERT_EQ(read(file, 1, true), kDataDone);
  const long copy = leave_copy();
  const auto in_the_child = [&] {
    path_lock_release_all();  // as at the end of a program: the parent's stay
    EXPECT_DEATH(read(file, 1), "random_read\nerror\n *101\n");
    EXPECT_EQ(holders(), "s");
    EXPECT_EQ(path_lock_shared(4), 0);
    EXPECT_EQ(holders(), "sS");
  };
  EXPECT_EQ(run_forked(in_the_child), 0);
  forget_the_dead();
  EXPECT_EQ(holders(), "S");
  path_lock_release_all();
  EXPECT_EQ(holders(), "");
  data_close(file);
  EXPECT_TRUE(elsewhere([] {
    const FileDefinition defined_there = stock();
    DataFile own(defined_there);
    return data_open(own, LockWait::kTell) == kDataDone && read(own, 1, true) == kDataDone &&
           path_lock_exclusive(4) == 0;
  }));
  end_copy(copy);
}

}  // namespace marigold::inner::test
