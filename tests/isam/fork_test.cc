// SPDX-License-Identifier: GPL-3.0-or-later
// Forked children: everything they inherit stays their parent's alone.

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

#include "runtime/isam/local/file.h"
#include "tests/isam/support.h"
#include "tests/support/posix/fork.h"

namespace marigold::inner::test {
namespace {

struct ForkTest : TortureTest {
  ForkTest() { build_wide("file", some_contents(20, 1)); }
  ~ForkTest() override { isam::change_step_hook = nullptr; }
};

// A child that was forked without the runtime's knowledge, and lives on with everything that it has
// inherited until it is killed.
struct LivingChild {
  LivingChild() : process(_Fork()) {
    while (process == 0)
      pause();
  }
  ~LivingChild() {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
  }
  int process;
};

TEST_F(ForkTest, AChildKeepsNoLockOfAParentThatDiesInAChange) {
  const Shared<std::atomic<int>> number("number");
  static std::atomic<int>* child = nullptr;
  child = &*number;
  const auto die_in_a_change = [] {
    const int file = ISOPEN("file", kSharedMode);
    read_first(file, kIsLock);
    isam::change_step_hook = [] {
      static int steps = 20;
      if (--steps > 0) return;
      if (fork() == 0) *child = getpid();
      while (*child == getpid())
        pause();
      while (*child == 0)
        usleep(100);  // until the child has begun
      raise(SIGKILL);
    };
    ISWRITE(file, wide_record(2000, 1).data());
  };
  EXPECT_EQ(run_forked(die_in_a_change), kKilled);
  const auto go_on = [] {
    end_within(5);
    const int file = ISOPEN("file", kExclusiveMode);
    read_first(file, kIsLock);
    EXPECT_EQ(error_of(ISWRITE(file, wide_record(2000, 1).data())), 0);
    expect_sound_and_close(file);
  };
  EXPECT_EQ(run_child(go_on), 0);
  kill(*child, SIGKILL);
}

TEST_F(ForkTest, ClosingGivesTheLocksBackWhoeverHasTheDescriptor) {
  const int file = ISOPEN("file", kExclusiveMode);
  const LivingChild child;
  EXPECT_EQ(error_of(ISCLOSE(file)), 0);
  EXPECT_EQ(run_child([] { EXPECT_GE(ISOPEN("file", kExclusiveMode), 0) << iserrno; }), 0);
}

TEST_F(ForkTest, AnInheritedDescriptorIsNotOpen) {
  const int file = ISOPEN("file", kSharedMode);
  std::string record = read_first(file, kIsLock);
  const auto in_the_child = [&] {
    IsamInfo info;
    std::vector<std::string> findings;
    for (const int error :
         {error_of(ISADDINDEX(file, kWideText)),
          error_of(ISSTART(file, kWideText, 0, record.data(), kIsFirst)),
          error_of(ISREAD(file, record.data(), kIsFirst)), error_of(ISWRITE(file, record.data())),
          error_of(ISDELETE(file, record.data())), error_of(ISREPLACE(file, record.data())),
          error_of(ISRELEASE(file)), error_of(ISFLUSH(file)), error_of(iscount(file)),
          error_of(isinfo(file, info)), error_of(ischeck(file, findings)), error_of(ISCLOSE(file))})
      EXPECT_EQ(error, kIsNotOpen);
    // The child opens files of its own, and meets its parent's locks.
    const int own = ISOPEN("file", kSharedMode);
    EXPECT_GE(own, 0);
    EXPECT_EQ(error_of(ISREAD(own, record.data(), kIsFirst | kIsLock)), kIsLocked);
    EXPECT_EQ(error_of(ISREAD(own, record.data(), kIsNext | kIsLock)), 0);
    EXPECT_EQ(error_of(ISCLOSE(own)), 0);
  };
  EXPECT_EQ(run_forked(in_the_child), 0);
  EXPECT_EQ(error_of(ISREAD(file, record.data(), kIsCurrent)), 0);
  EXPECT_EQ(error_of(ISDELETE(file, record.data())), 0);
  EXPECT_EQ(error_of(ISCLOSE(file)), 0);
}

}  // namespace
}  // namespace marigold::inner::test
