// Processes killed in the middle of what they do.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <random>

#include "runtime/isam/file.h"
#include "tests/isam/support.h"

namespace marigold::test {
namespace {

long steps_left = 0;  // of a child; here it is never the last one

struct DeathTest : TortureTest {
  DeathTest() {
    isam::change_step_hook = [] {
      if (--steps_left == 0) raise(SIGKILL);
    };
  }
  ~DeathTest() override { isam::change_step_hook = nullptr; }
};

TEST_F(DeathTest, KilledAtEveryStepNothingIsHalfDone) {
  const int numbers = 90;
  const Contents start = some_contents(numbers, 5);
  build_wide("start", start);
  auto& acknowledged = shared<std::atomic<std::size_t>>();  // operations that returned
  int kills = 0;
  for (unsigned seed = 0; kills < amount(600, 2500); ++seed) {
    const auto operations = random_operations(seed + 100, 6, numbers);
    const auto work_until_killed = [&](long step) {
      steps_left = step;
      const int file = ISOPEN("file", kSharedMode);
      Contents contents = start;
      for (const Operation& operation : operations) {
        EXPECT_EQ(perform(operation, file) == 0, apply(operation, contents));
        // What has been deleted until then can be written over from then on.
        EXPECT_EQ(++acknowledged == 4 ? ISFLUSH(file) : 0, 0);
      }
      EXPECT_EQ(ISCLOSE(file), 0);
    };
    // Not many in a short run, so that they fall into many different operations.
    const int stride = amount(17, 1);
    for (long step = 1 + seed % static_cast<unsigned>(stride);; step += stride, ++kills) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      copy_pair("start", "file");
      acknowledged = 0;
      const int status = run_process([&] { work_until_killed(step); });
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
  std::printf("[ killed ] %d times, each at another step\n", kills);
}

// Files are built, get keys, are in use when the machine is started again, have their indexes made
// again and are read as a snapshot, with a death at each step, and often another start after it:
// what was acknowledged in the last run is there.
TEST_F(DeathTest, KilledAroundARunNothingIsLost) {
  const Contents start = some_contents(60, 5);
  build_wide("start", start);
  enum Life { kBuild, kAddKey, kSnapshot, kRestart, kRebuild, kLives };
  auto& acknowledged = shared<std::atomic<std::size_t>>();
  const auto operations = random_operations(77, 12, 60);
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
  int kills = 0;
  for (int life = kBuild; life < kLives && !HasFailure(); ++life) {
    int status = -SIGKILL;
    for (long step = 1; status != 0 && !HasFailure(); step += amount(7, 1), ++kills) {
      SCOPED_TRACE("life " + std::to_string(life) + " step " + std::to_string(step));
      for (const char* name : {"file.idx", "file.dat"})
        std::filesystem::remove(name);
      if (life != kBuild) copy_pair("start", "file");
      EXPECT_EQ(life == kRestart ? run_process(use_and_leave) : 0, 0);
      acknowledged = 0;
      const OtherRun run;
      status = run_process([&] {
        steps_left = step;
        live(static_cast<Life>(life));
      });
      ASSERT_TRUE(status == 0 || status == -SIGKILL) << status;
      Contents expected = life == kBuild ? Contents() : start;
      for (std::size_t i = 0; i < acknowledged; ++i)
        apply(operations[i], expected);
      Contents with_next = expected;
      if (acknowledged < operations.size()) apply(operations[acknowledged], with_next);
      Contents found;
      // Killed before it was built, it is not there, and can be built.
      if (life == kBuild && acknowledged == 0 && ISCLOSE(ISOPEN("file", kSharedMode)) != 0) {
        EXPECT_EQ(ISCLOSE(ISBUILD("file", kWideRecord, kWidePrimary, kSharedMode)), 0) << iserrno;
      }
      EXPECT_EQ(examine("file", found), "");
      EXPECT_TRUE(found == expected || found == with_next);
    }
  }
  std::printf("[ killed ] %d times around a run\n", kills);
}

// The record leaves two thin leaves, which become one, for a leaf that is full and is divided: the
// page that the one gives up is what the other takes.
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
    EXPECT_EQ(walk(file), "");
    EXPECT_EQ(ISCLOSE(file), 0);
  }
  EXPECT_EQ(status, 0);
}

// Whoever may only read a file can lock each of its bytes shared: the places of writers who died,
// and those of records. Nobody waits for that.
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
    alarm(5);                                      // instead of waiting for ever
    const int file = ISOPEN("file", kSharedMode);  // has place 0, who dies 1
    std::string record(kWideRecord, '\0');
    EXPECT_EQ(ISREAD(file, record.data(), kIsFirst | kIsLock), 0);
    EXPECT_EQ(ISRELEASE(file), 0);
    EXPECT_EQ(run_process(die_in_a_change), -SIGKILL);
    const int reader = open("file.idx", O_RDONLY | O_CLOEXEC);
    lock_as_a_reader(reader, isam::kPlaceLocks + 1, isam::kPlaces - 1);
    lock_as_a_reader(reader, isam::kRecordLocks, isam::kRecordLockBytes);
    EXPECT_EQ(error_of(ISWRITE(file, wide_record(1000, 1).data())), 0);
    EXPECT_EQ(error_of(ISDELETE(file, record.data())), 0);
    EXPECT_EQ(walk(file), "");
    EXPECT_EQ(error_of(ISCLOSE(file)), 0);
  };
  EXPECT_EQ(run_process(go_on_beside_the_reader), 0);
}

// Three processes work on one file, each on numbers of its own; now one, now another is killed at a
// random moment and replaced, while the others go on.
constexpr std::size_t kWorkers = 3;
constexpr std::size_t kNumbersEach = 200;
constexpr std::size_t kNone = kNumbersEach;

struct Worker {
  std::atomic<long> done = 0;
  std::atomic<std::size_t> current = kNone;                   // which number is being worked on
  std::array<std::atomic<std::uint32_t>, kNumbersEach> held;  // the version there, 0 for none
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
  // What the one before us was doing when it died is done or not: from here on it is not.
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
  const int kills = amount(60, 2000);
  for (int count = 0; count < kills && !HasFailure(); ++count) {
    usleep(static_cast<useconds_t>(random() % 8000));
    const std::size_t victim = random() % kWorkers;
    end(victim);
    // Nobody is blocked: all the others make progress.
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
      if (which == worker.current) continue;  // interrupted: either way
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
}  // namespace marigold::test
