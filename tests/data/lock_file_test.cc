// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/lock_file.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/process.h"
#include "tests/data/support.h"

namespace marigold::inner::test {
namespace {

// Returns the holders of class 4: "s" and "x", own locks in capitals.
std::string holders() {
  std::vector<LockHolder> found;
  EXPECT_EQ(lock_file_holders(4, found), 0);
  std::string letters;
  for (const LockHolder& holder : found) {
    EXPECT_EQ(holder.host, host_name().substr(0, 40));
    const bool own = holder.process == process_number();
    letters += holder.exclusive ? (own ? "X" : "x") : (own ? "S" : "s");
  }
  return letters;
}

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
  EXPECT_EQ(events(), "LOCKPATH = 4\nLOCKPATH =12: data/12\n");
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
    clock_sleep_hook = [](int) { _exit(1); };
    return path_lock_shared(4) == 0;
  }));
  path_lock_release(12);
  path_lock_release(12);
  path_lock_release_all();
  EXPECT_EQ(holders(), "");
  EXPECT_EQ(events(),
            "LOCKPATH = 4\nLOCKPATH =12: data/12\nFREEPATH = 4\nLOCKPATH = 4\nFREEPATH = 4\n"
            "LOCKPATH = 4\nFREEPATH =12: data/12\nFREEPATH = 4\n");
  EXPECT_EXIT(path_lock_shared(31), testing::KilledBySignal(SIGABRT), "error\n        64\n");
}

// A forked child holds none of its parent's open files and locks.
TEST_F(DataTest, AForkedChildHoldsNothing) {
  const FileDefinition defined = stock();
  DataFile file(defined);
  ASSERT_EQ(data_open(file, LockWait::kTell), kDataDone);
  ASSERT_EQ(write(file, 0), kDataDone);
  ASSERT_EQ(path_lock_shared(4), 0);
  ASSERT_EQ(read(file, 1, true), kDataDone);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0 && ::write(ends[1], "b", 1) != 1) _exit(1);  // it has begun
  while (child == 0)
    pause();
  char begun = 0;
  ASSERT_EQ(::read(ends[0], &begun, 1), 1);
  const auto in_the_child = [&] {
    path_lock_release_all();  // as at the end of a program: the parent's stay
    EXPECT_DEATH(read(file, 1), "random_read\nerror\n *101\n");
    EXPECT_EQ(holders(), "s");
    EXPECT_EQ(path_lock_shared(4), 0);
    EXPECT_EQ(holders(), "sS");
    return !HasFailure();
  };
  const pid_t looking = fork();
  if (looking == 0) _exit(in_the_child() ? 0 : 1);
  int status = 0;
  waitpid(looking, &status, 0);
  EXPECT_EQ(status, 0);
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
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST_F(DataTest, SharedLocksAreWaitedFor) {
  static OtherProcess* holder;
  clock_sleep_hook = [](int seconds) {
    EXPECT_EQ(seconds, 1);
    holder->kill_it();
  };
  OtherProcess other([] { return path_lock_exclusive(4) == 0; });
  ASSERT_TRUE(other.ready());
  holder = &other;
  EXPECT_EQ(holders(), "x");
  EXPECT_EQ(errors_of([] { EXPECT_EQ(path_lock_shared(4), 0); }),
            "LOCK.$$$ file lock active         \n");
  holder = nullptr;
  EXPECT_EQ(read_file("data/4/lock.$$$").size(), 64U);
  write_file("data/4/lock.$$$", std::string(64, '?'));  // the lock counts, not the record
  std::vector<LockHolder> found;
  EXPECT_EQ(lock_file_holders(4, found), 0);
  EXPECT_TRUE(found.size() == 1 && found[0].process == 0);
}

}  // namespace
}  // namespace marigold::inner::test
