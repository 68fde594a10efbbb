// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/lock_file.h"

#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/process.h"
#include "tests/data/support.h"

namespace marigold::inner::test {
namespace {

// Returns the events in the status file.
std::string events() {
  const std::string text = read_file("pstatus.tmp");
  return text.substr(std::min(text.find("LOCK"), text.size()));
}

TEST_F(DataTest, ASingleUserNeedsNoLocks) {
  setenv("IS_MULTIUSER", "", 1);
  settings_read();
  EXPECT_EQ(path_lock_exclusive(4), 0);
  path_lock_all_defined();
  path_lock_release_all();
  EXPECT_FALSE(std::filesystem::exists("data"));
  EXPECT_EQ(holders(), "");
}

TEST_F(DataTest, AClassIsHeldBySeveralOrByOne) {
  clock_sleep_hook = [](int) {};
  status_open("locks");
  path_lock_all_defined();
  const std::string twelve = "LOCKPATH =12: " + data_directory(12) + "\n";
  EXPECT_EQ(events(), "LOCKPATH = 4\n" + twelve);
  EXPECT_EQ(holders(), "S");
  const std::string message = "LOCK.$$$ file lock active         \n";
  {
    OtherProcess other([] { return path_lock_shared(4) == 0; });
    EXPECT_TRUE(other.ready());
    EXPECT_EQ(holders(), "Ss");
    EXPECT_EQ(path_lock_shared(4), 0);  // held already
    EXPECT_EQ(errors_of([] { EXPECT_EQ(path_lock_exclusive(4), 4); }), message);
    EXPECT_EQ(holders(), "s");  // ours was given back and not taken again
    EXPECT_EQ(path_lock_shared(4), 0);
    EXPECT_EQ(holders(), "Ss");
    other.kill_it();
    EXPECT_EQ(holders(), "S");
  }
  EXPECT_EQ(path_lock_exclusive(4), 0);
  EXPECT_EQ(path_lock_exclusive(4), 0);
  EXPECT_EQ(holders(), "X");
  EXPECT_FALSE(elsewhere([] {
    clock_sleep_hook = [](int) { die_now(); };
    return path_lock_shared(4) == 0;
  }));
  path_lock_release(12);
  path_lock_release(12);
  path_lock_release_all();
  EXPECT_EQ(holders(), "");
  EXPECT_EQ(events(), "LOCKPATH = 4\n" + twelve +
                          "FREEPATH = 4\nLOCKPATH = 4\nFREEPATH = 4\nLOCKPATH = 4\nFREEPATH =12: " +
                          data_directory(12) + "\nFREEPATH = 4\n");
  EXPECT_EXIT(path_lock_shared(31), aborted, "error\n        64\n");
}

TEST_F(DataTest, SharedLocksAreWaitedFor) {
  OtherProcess other([] { return path_lock_exclusive(4) == 0; });
  ASSERT_TRUE(other.ready());
  other.kill_at_next_sleep(1);
  EXPECT_EQ(holders(), "x");
  EXPECT_EQ(errors_of([] { EXPECT_EQ(path_lock_shared(4), 0); }),
            "LOCK.$$$ file lock active         \n");
  if (in_cluster()) return;
  EXPECT_EQ(read_file("data/4/lock.$$$").size(), 64U);
  write_file("data/4/lock.$$$", std::string(64, '?'));  // the lock counts, not the record
  std::vector<LockHolder> found;
  EXPECT_EQ(lock_file_holders(4, found), 0);
  EXPECT_TRUE(found.size() == 1 && found[0].process == 0);
}

}  // namespace
}  // namespace marigold::inner::test
