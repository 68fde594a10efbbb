// Many processes on one file, and processes killed in the middle of what they do.

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <numeric>
#include <random>

#include "runtime/isam/file.h"
#include "tests/isam/support.h"

namespace marigold::test {
namespace {

TEST_F(TortureTest, KilledAtEveryStepNothingIsHalfDone) {
  static long steps_left = 0;  // of a child; here it is never the last one
  isam::change_step_hook = [] {
    if (--steps_left == 0) raise(SIGKILL);
  };
  const int numbers = 90;
  const Contents start = some_contents(numbers, 5);
  build_wide("start", start);
  auto& acknowledged = shared<std::atomic<std::size_t>>();  // operations that returned
  int kills = 0;
  for (unsigned seed = 0; kills < amount(250, 2500); ++seed) {
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
    for (long step = 1;; ++step, ++kills) {
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
  isam::change_step_hook = nullptr;
  std::printf("[ killed ] %d times, each at another step\n", kills);
}

// Several processes change one file, each under numbers of its own; they read each other's records,
// and count up one record under its lock. Now one, now another is killed at a random moment and
// replaced, while the others go on.
constexpr std::int32_t kWorkers = 6;
constexpr std::int32_t kNumbersEach = 200;
constexpr std::int32_t kCounter = kWorkers * kNumbersEach;  // the record that all count up

struct Team {
  std::array<std::atomic<long>, kWorkers> done;  // operations
  std::atomic<std::int32_t> counted = 0;
  std::atomic<bool> stop = false;
};

// What is there of a worker's numbers: those that are its index modulo the workers.
Contents read_own(int file, std::int32_t index) {
  Contents own;
  for (std::int32_t number = index; number < kCounter; number += kWorkers) {
    std::string record = wide_record(number, 0);
    if (ISREAD(file, record.data(), kIsEqual) == 0) own[number] = record;
  }
  return own;
}

// Whatever the others are doing, a record that is read is whole.
void read_any(int file, std::int32_t number, int mode) {
  std::string record = wide_record(number, 0);
  const int error = error_of(ISREAD(file, record.data(), mode));
  EXPECT_TRUE(error == 0 || error == kIsNoRecord || error == kIsEndOfFile) << error;
  const std::int32_t found = isld_int4(record.data());
  EXPECT_TRUE(found == kCounter || record == wide_record(found, 0) ||
              record == wide_record(found, 1));
}

void count_up(int file, Team& team) {
  std::string record(kWideRecord, '\0');
  isst_int4(kCounter, record.data());
  while (ISREAD(file, record.data(), kIsEqual | kIsLock) != 0) {
    ASSERT_EQ(iserrno, kIsLocked);
    usleep(50);
  }
  isst_int4(isld_int4(record.data() + 4) + 1, record.data() + 4);
  EXPECT_EQ(error_of(ISREPLACE(file, record.data())), 0);
  ++team.counted;
  EXPECT_EQ(ISRELEASE(file), 0);
}

void work(std::int32_t index, unsigned seed, Team& team) {
  const int file = ISOPEN("file", kSharedMode);
  ASSERT_GE(file, 0) << iserrno;
  Contents own = read_own(file, index);
  while (!team.stop && !testing::Test::HasFailure()) {
    for (auto& [what, number, version] : random_operations(++seed, 16, kNumbersEach)) {
      const Operation operation{what, number * kWorkers + index, version % 2};
      EXPECT_EQ(perform(operation, file) == 0, apply(operation, own));
      read_any(file, operation.number + 1, version % 3 == 0 ? kIsEqual : kIsNext);
      ++team.done[static_cast<std::size_t>(index)];
    }
    count_up(file, team);
  }
  EXPECT_TRUE(read_own(file, index) == own);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(TortureTest, TheOthersGoOnWhenOneIsKilled) {
  Team& team = shared<Team>();
  std::string counter(kWideRecord, '\0');
  isst_int4(kCounter, counter.data());
  build_wide("file", {{kCounter, counter}});
  std::mt19937 random(7);
  std::array<int, kWorkers> children{};
  const auto spawn = [&](std::int32_t index) {
    const auto seed = static_cast<unsigned>(random());
    children.at(index) = start_process([&] { work(index, seed, team); });
  };
  for (std::int32_t index = 0; index < kWorkers; ++index)
    spawn(index);
  const int kills = amount(60, 2000);
  for (int count = 0; count < kills && !HasFailure(); ++count) {
    usleep(static_cast<useconds_t>(random() % 8000));
    const auto victim = static_cast<std::int32_t>(random() % kWorkers);
    kill(children.at(victim), SIGKILL);
    EXPECT_EQ(wait_for(children.at(victim)), -SIGKILL);  // and no fault found until then
    // Nobody is blocked: all the others make progress.
    for (std::int32_t other = 0; other < kWorkers; ++other) {
      const long before = team.done.at(other);
      for (int wait = 0; other != victim && wait < 5000 && team.done.at(other) == before; ++wait)
        usleep(1000);
      EXPECT_TRUE(other == victim || team.done.at(other) > before) << "after kill " << count;
    }
    spawn(victim);
  }
  team.stop = true;
  for (const int child : children)
    EXPECT_EQ(wait_for(child), 0);
  Contents found;
  EXPECT_EQ(examine("file", found), "");
  // Who is killed within may have counted without saying so.
  const std::int32_t counted = isld_int4(found[kCounter].data() + 4);
  EXPECT_TRUE(counted >= team.counted && counted <= team.counted + kills) << team.counted;
  std::printf("[ killed ] %d times among %d processes that did %ld operations and counted to %d\n",
              kills, kWorkers, std::accumulate(team.done.begin(), team.done.end(), 0L), counted);
}

}  // namespace
}  // namespace marigold::test
