// SPDX-License-Identifier: GPL-3.0-or-later
// Processes that are killed in the middle of an operation.

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <random>
#include <utility>

#include "runtime/isam/entry_sort.h"
#include "runtime/isam/file.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

long steps_left = 0;  // of a child; the parent never reaches the last one

std::atomic<int>* orphan = nullptr;  // a child forked earlier, where it must outlive its parent

void die_at_last_step() {
  if (--steps_left != 0) return;
  if (orphan != nullptr && fork() == 0) {
    *orphan = getpid();
    for (;;)
      pause();
  }
  while (orphan != nullptr && *orphan == 0)
    usleep(20);  // until the child has begun
  raise(SIGKILL);
}

struct DeathTest : TortureTest {
  DeathTest() {
    isam::change_step_hook = die_at_last_step;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
  }
  ~DeathTest() override {
    end_orphan();
    isam::change_step_hook = nullptr;
  }

  // Lets a process work on "file" until it is killed at this step; returns its status. After some
  // steps a child lives on with everything that it inherits; after others the next process is
  // killed as well, while it recovers the file.
  int kill_at(long step, const std::function<void()>& work) {
    end_orphan();
    static auto& forked = shared<std::atomic<int>>();
    forked = 0;
    const int status = run_process([&] {
      orphan = step % 8 == 2 ? &forked : nullptr;
      steps_left = step;
      work();
    });
    orphan_ = forked;
    forks += orphan_ == 0 ? 0 : 1;
    kills += status == -SIGKILL ? 1 : 0;
    if (kills % 10'000 == 9'999) print_kills("so far");
    if (status != -SIGKILL || step % 4 != 1) return status;
    const int next = run_process([&] {
      steps_left = step % 31 + 1;
      ISCLOSE(ISOPEN("file", kSharedMode));
    });
    EXPECT_TRUE(next == 0 || next == -SIGKILL) << next;
    kills_again += next == -SIGKILL ? 1 : 0;
    return status;
  }

  void print_kills(const char* where) const {
    std::printf(
        "[ killed ] %d times %s, beside %d forked children; %d times while that was made good\n",
        kills, where, forks, kills_again);
  }

  int kills = 0;
  int kills_again = 0;
  int forks = 0;

 private:
  void end_orphan() {
    if (orphan_ == 0) return;
    kill(orphan_, SIGKILL);
    wait_for(std::exchange(orphan_, 0));
  }
  int orphan_ = 0;
};

TEST_F(DeathTest, KilledAtEveryStepNothingIsHalfDone) {
  const int numbers = 90;
  const Contents start = some_contents(numbers, 5);
  build_wide("start", start);
  auto& acknowledged = shared<std::atomic<std::size_t>>();  // operations that returned
  for (unsigned seed = 0; kills < amount(600, 50'000); ++seed) {
    const auto operations = random_operations(seed + 100, 6, numbers);
    const auto work = [&] {
      const int file = ISOPEN("file", kSharedMode);
      Contents contents = start;
      for (const Operation& operation : operations) {
        EXPECT_EQ(perform(operation, file) == 0, apply(operation, contents));
        // Slots deleted so far can be reused from then on.
        EXPECT_EQ(++acknowledged == 4 ? ISFLUSH(file) : 0, 0);
      }
      EXPECT_EQ(ISCLOSE(file), 0);
    };
    // Not many in a short run, so that they fall into many different operations.
    const int stride = amount(17, 1);
    for (long step = 1 + seed % static_cast<unsigned>(stride);; step += stride) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      copy_pair("start", "file");
      acknowledged = 0;
      const int status = kill_at(step, work);
      Contents expected = start;
      for (std::size_t i = 0; i < acknowledged; ++i)
        apply(operations[i], expected);
      Contents with_next = expected;
      if (acknowledged < operations.size()) apply(operations[acknowledged], with_next);
      Contents found;
      ASSERT_EQ(examine("file", found), "");
      ASSERT_TRUE(found == expected || found == with_next);
      if (status == 0) break;
      ASSERT_EQ(status, -SIGKILL);
    }
  }
  print_kills("in operations");
}

// Builds files, adds keys, restarts the machine during use, rebuilds indexes and reads snapshots,
// with a death at each step, and often another restart after it. Operations acknowledged in the
// last run must hold.
TEST_F(DeathTest, KilledAroundARunNothingIsLost) {
  const Contents start = some_contents(60, 5);
  build_wide("start", start);
  enum Life { kBuild, kAddKey, kSnapshot, kRestart, kRebuild, kLives };
  auto& acknowledged = shared<std::atomic<std::size_t>>();
  std::vector<Operation> drawn;
  const auto& operations = drawn;
  const KeyDescription later{1, 1, {{{200, 20, kIsCharacters}}}};
  const auto live = [&](Life life) {
    if (life == kRebuild) {
      IsRebuildReport report;
      EXPECT_EQ(error_of(isrebuild("file", report)), 0);
    }
    if (life == kAddKey) {
      const int alone = ISOPEN("file", kExclusiveMode);
      EXPECT_EQ(error_of(ISADDINDEX(alone, later)), 0);
      EXPECT_EQ(ISCLOSE(alone), 0);
    }
    const int file = life == kBuild ? ISBUILD("file", kWideRecord, kWidePrimary, kSharedMode)
                                    : ISOPEN("file", kSharedMode);
    EXPECT_GE(file, 0) << iserrno;
    EXPECT_EQ(life == kSnapshot ? issnapshot(std::array{file}) : 0, 0);
    Contents contents = life == kBuild ? Contents() : start;
    for (const Operation& operation : operations) {
      EXPECT_EQ(perform(operation, file) == 0, apply(operation, contents));
      ++acknowledged;
      EXPECT_EQ(acknowledged == 5 ? ISFLUSH(file) : 0, 0);
    }
    EXPECT_EQ(life == kSnapshot ? issnapshot_end(file) : 0, 0);
    EXPECT_EQ(ISCLOSE(file), 0);
  };
  const auto use_and_leave = [&] {  // in the run before
    EXPECT_EQ(ISREPLACE(ISOPEN("file", kSharedMode), start.begin()->second.data()), 0);
  };
  for (int round = 0; (round < kLives || kills < amount(0, 30'000)) && !HasFailure(); ++round) {
    const int life = round % kLives;
    drawn = random_operations(static_cast<unsigned>(77 + round / kLives), 12, 60);
    int status = -SIGKILL;
    for (long step = 1; status != 0 && !HasFailure(); step += amount(7, 1)) {
      SCOPED_TRACE("round " + std::to_string(round) + " step " + std::to_string(step));
      for (const char* name : {"file.idx", "file.dat"})
        std::filesystem::remove(name);
      if (life != kBuild) copy_pair("start", "file");
      EXPECT_EQ(life == kRestart ? run_process(use_and_leave) : 0, 0);
      acknowledged = 0;
      const OtherRun run;
      status = kill_at(step, [&] { live(static_cast<Life>(life)); });
      ASSERT_TRUE(status == 0 || status == -SIGKILL) << status;
      Contents expected = life == kBuild ? Contents() : start;
      for (std::size_t i = 0; i < acknowledged; ++i)
        apply(operations[i], expected);
      Contents with_next = expected;
      if (acknowledged < operations.size()) apply(operations[acknowledged], with_next);
      Contents found;
      // A file whose builder was killed does not exist, and can be built.
      if (life == kBuild && acknowledged == 0 && ISCLOSE(ISOPEN("file", kSharedMode)) != 0) {
        EXPECT_EQ(ISCLOSE(ISBUILD("file", kWideRecord, kWidePrimary, kSharedMode)), 0) << iserrno;
      }
      EXPECT_EQ(examine("file", found), "");
      EXPECT_TRUE(found == expected || found == with_next);
    }
  }
  print_kills("around a run");
}

// Rebuilds indexes, in memory and with runs that are spilled.
TEST_F(DeathTest, KilledAtEveryStepARebuildLosesNothing) {
  Contents contents = some_contents(90, 8);
  build_wide("start", contents);
  const int start = ISOPEN("start", kSharedMode);
  for (int count = 0; count < 10; ++count) {
    EXPECT_EQ(ISDELETE(start, contents.begin()->second.data()), 0);
    contents.erase(contents.begin());
  }
  ASSERT_EQ(ISCLOSE(start), 0);
  const auto rebuild = [] {
    IsRebuildReport report;
    EXPECT_EQ(isrebuild("file", report), 0);
  };
  const auto add_key = [] {
    const int file = ISOPEN("file", kExclusiveMode);
    const KeyDescription key{1, 1, {{{200, 20, kIsCharacters}}}};
    EXPECT_EQ(ISADDINDEX(file, key), 0);
    EXPECT_EQ(ISCLOSE(file), 0);
  };
  const auto either = [&](int round) { return round % 2 == 0 ? rebuild() : add_key(); };
  for (int round = 0; (round < 2 || kills < amount(0, 10'000)) && !HasFailure(); ++round) {
    int status = -SIGKILL;
    long step = 0;
    while (status == -SIGKILL && !HasFailure()) {
      SCOPED_TRACE(++step);
      copy_pair("start", "file");
      status = kill_at(step, [&] {
        isam::sort_run_bytes = (step + round / 2) % 2 == 0 ? 0 : 3000;
        either(round);
      });
      Contents found;
      EXPECT_EQ(examine("file", found), "");
      EXPECT_TRUE(found == contents);
    }
    EXPECT_EQ(status, 0);
    EXPECT_GT(step, 10);
  }
  print_kills("in a rebuild");
}

// The record leaves two thin leaves, which merge, for a full leaf, which splits: the split takes
// the page that the merge frees.
TEST_F(DeathTest, APageGivenUpAndTakenAgainIsWholeWhenTheChangeIsUndone) {
  const KeyDescription key{0, 1, {{{4, 200, kIsCharacters}}}};
  const auto record = [](std::int32_t number, const std::string& text) {
    std::string bytes = std::string(4, '\0') + text + std::string(200 - text.size(), ' ');
    isst_int4(number, bytes.data());
    return bytes;
  };
  const int start = ISBUILD("start", 204, kWidePrimary, kExclusiveMode);
  ASSERT_EQ(ISADDINDEX(start, key), 0);
  for (int number = 100; number < 200; ++number)
    ASSERT_EQ(ISWRITE(start, record(number, std::to_string(number)).data()), 0);
  for (int number = 140; number < 180; ++number) {
    if (number % 3 == 0) continue;  // of the nine records of a leaf three stay
    ASSERT_EQ(ISDELETE(start, record(number, "").data()), 0);
  }
  ASSERT_EQ(ISCLOSE(start), 0);
  const std::string moved = record(159, "1005");
  int status = -SIGKILL;
  for (long step = 1; status != 0 && !HasFailure(); ++step) {
    SCOPED_TRACE(step);
    copy_pair("start", "file");
    status = run_process([&] {
      steps_left = step;
      const int file = ISOPEN("file", kSharedMode);
      EXPECT_EQ(ISREPLACE(file, moved.data()), 0);
      EXPECT_EQ(ISCLOSE(file), 0);
    });
    const int file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(verify(file), "");
    EXPECT_EQ(ISCLOSE(file), 0);
  }
  EXPECT_EQ(status, 0);
}

// A process that may only read a file can lock each of its bytes shared: the seats of dead writers,
// and the bytes of records. No process waits for such locks.
void lock_as_a_reader(int descriptor, std::uint64_t first, std::uint64_t count) {
  struct flock range {};
  range.l_type = F_RDLCK;
  range.l_start = static_cast<off_t>(first);
  range.l_len = static_cast<off_t>(count);
  EXPECT_EQ(fcntl(descriptor, F_OFD_SETLK, &range), 0);
}

TEST_F(DeathTest, AReaderWithLocksKeepsNobodyFromWriting) {
  build_wide("file", some_contents(20, 1));
  const auto die_in_a_change = [] {
    const int file = ISOPEN("file", kSharedMode);
    steps_left = 20;
    ISWRITE(file, wide_record(2000, 1).data());
  };
  const auto go_on_beside_the_reader = [&] {
    alarm(5);                                      // limits the wait
    const int file = ISOPEN("file", kSharedMode);  // has seat 0; the dead one has 1
    std::string record(kWideRecord, '\0');
    EXPECT_EQ(ISREAD(file, record.data(), kIsFirst | kIsLock), 0);
    EXPECT_EQ(ISRELEASE(file), 0);
    EXPECT_EQ(run_process(die_in_a_change), -SIGKILL);
    const int reader = open("file.idx", O_RDONLY | O_CLOEXEC);
    lock_as_a_reader(reader, isam::kSeatLocks + 1, isam::kSeats - 1);
    lock_as_a_reader(reader, isam::kRecordLocks, isam::kRecordLockBytes);
    EXPECT_EQ(error_of(ISWRITE(file, wide_record(1000, 1).data())), 0);
    EXPECT_EQ(error_of(ISDELETE(file, record.data())), 0);
    EXPECT_EQ(verify(file), "");
    EXPECT_EQ(error_of(ISCLOSE(file)), 0);
  };
  EXPECT_EQ(run_process(go_on_beside_the_reader), 0);
}

// Three processes work on one file, each on numbers of its own. Now one, now another is killed at a
// random moment and replaced, while the others go on.
constexpr std::size_t kWorkers = 3;
constexpr std::size_t kNumbersEach = 200;
constexpr std::size_t kNone = kNumbersEach;

struct Worker {
  std::atomic<long> done = 0;
  std::atomic<std::size_t> current = kNone;                   // number being worked on
  std::array<std::atomic<std::uint32_t>, kNumbersEach> held;  // version there, 0 for none
};
struct Team {
  std::array<Worker, kWorkers> workers;
  std::atomic<int> wrong = 0;
};

std::int32_t number_of(std::size_t index, std::size_t which) {
  return static_cast<std::int32_t>(which * kWorkers + index);
}

void work_for_ever(std::size_t index, unsigned seed, Team& team) {
  Worker& worker = team.workers[index];
  std::mt19937 random(seed);
  const auto expect = [&team](bool right) { team.wrong += right ? 0 : 1; };
  const int file = ISOPEN("file", kSharedMode);
  expect(file >= 0);
  // The dead process may or may not have finished its last operation. Deleting the record makes its
  // state known.
  if (worker.current != kNone) {
    const Operation erase{Does::kDelete, number_of(index, worker.current), 0};
    expect(perform(erase, file) == 0 || iserrno == kIsNoRecord);
    worker.held[worker.current] = 0;
  }
  for (;; ++worker.done) {
    const std::size_t which = random() % kNumbersEach;
    const Does other = random() % 2 == 0 ? Does::kReplace : Does::kDelete;
    const Does what = worker.held[which] == 0 ? Does::kWrite : other;
    const auto version = static_cast<std::uint32_t>(random() % 1000 + 1);
    worker.current = which;
    expect(perform({what, number_of(index, which), version}, file) == 0);
    worker.held[which] = what == Does::kDelete ? 0 : version;
    worker.current = kNone;
  }
}

TEST_F(TortureTest, TheOthersGoOnWhenOneIsKilled) {
  Team& team = shared<Team>();
  build_wide("file", {});
  std::array<int, kWorkers> children{};
  std::mt19937 random(7);
  const auto spawn = [&](std::size_t index) {
    const auto seed = static_cast<unsigned>(random());
    children[index] = start_process([&] { work_for_ever(index, seed, team); });
  };
  const auto end = [&](std::size_t index) {
    kill(children[index], SIGKILL);
    ASSERT_EQ(wait_for(children[index]), -SIGKILL);
  };
  for (std::size_t index = 0; index < kWorkers; ++index)
    spawn(index);
  const int kills = amount(60, 20'000);
  for (int count = 0; count < kills && !HasFailure(); ++count) {
    usleep(static_cast<useconds_t>(random() % 8000));
    const std::size_t victim = random() % kWorkers;
    end(victim);
    // No process is blocked: all the others make progress.
    for (std::size_t other = 0; other < kWorkers; ++other) {
      if (other == victim) continue;
      const std::atomic<long>& done = team.workers[other].done;
      const long before = done;
      for (int wait = 0; wait < 5000 && done == before; ++wait)
        usleep(1000);
      EXPECT_GT(done, before) << "after kill " << count;
    }
    spawn(victim);
  }
  for (std::size_t index = 0; index < kWorkers; ++index)
    end(index);
  long done = 0;
  Contents found;
  EXPECT_EQ(examine("file", found), "");
  for (std::size_t index = 0; index < kWorkers; ++index) {
    const Worker& worker = team.workers[index];
    done += worker.done;
    for (std::size_t which = 0; which < kNumbersEach; ++which) {
      if (which == worker.current) continue;  // interrupted: both outcomes are right
      const std::int32_t number = number_of(index, which);
      const std::uint32_t version = worker.held[which];
      const std::string expected = version == 0 ? "" : wide_record(number, version);
      EXPECT_EQ(found.contains(number) ? found[number] : "", expected) << number;
    }
  }
  EXPECT_EQ(team.wrong, 0);
  std::printf("[ killed ] %d times among %zu processes that did %ld operations\n",
              kills + static_cast<int>(kWorkers), kWorkers, done);
}

}  // namespace
}  // namespace marigold::inner::test
