// Processes killed in the middle of what they do.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>

#include "runtime/isam/file.h"
#include "tests/isam/torture.h"

namespace marigold::test {
namespace {

std::atomic<long>* steps_left = nullptr;

void die_at_step() {
  if (steps_left != nullptr && steps_left->fetch_sub(1) == 1) raise(SIGKILL);
}

struct Progress {
  std::atomic<long> steps_left = 0;
  std::atomic<int> acknowledged = 0;  // operations that returned
  std::atomic<int> refused = 0;       // of these, results that did not fit
};

void work_until_killed(const std::string& base, const std::vector<Operation>& operations,
                       Contents contents, Progress& progress) {
  steps_left = &progress.steps_left;
  isam::change_step_hook = die_at_step;
  const int file = ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
  for (const Operation& operation : operations) {
    const bool expected = apply(operation, contents);
    if ((perform(operation, file) == 0) != expected) ++progress.refused;
    ++progress.acknowledged;
  }
  ISCLOSE(file);
}

TEST_F(TortureTest, KilledAtEveryStepNothingIsHalfDone) {
  const int numbers = 90;
  const Contents start = some_contents(numbers, 5);
  build_wide("start", start);
  Progress& progress = shared<Progress>();
  int kills = 0;
  for (unsigned seed = 0; kills < amount(250, 2500); ++seed) {
    const auto operations = random_operations(seed + 100, 6, numbers);
    for (long step = 1;; ++step) {
      copy_pair("start", "file");
      progress.steps_left = step;
      progress.acknowledged = 0;
      const int status =
          run_process([&] { work_until_killed("file", operations, start, progress); });
      Contents expected = start;
      for (int i = 0; i < progress.acknowledged; ++i)
        apply(operations[static_cast<std::size_t>(i)], expected);
      Contents with_next = expected;
      if (progress.acknowledged < 6)
        apply(operations[static_cast<std::size_t>(progress.acknowledged)], with_next);
      Contents found;
      ASSERT_EQ(examine("file", found), "") << "seed " << seed << " step " << step;
      ASSERT_TRUE(found == expected || found == with_next) << "seed " << seed << " step " << step;
      if (status == 0) break;
      ASSERT_EQ(status, -SIGKILL);
      ++kills;
    }
  }
  EXPECT_EQ(progress.refused, 0);
  std::printf("[ killed ] %d times, each at another step\n", kills);
}

// Three processes work on one file, each on numbers of its own; now one, now another is killed at a
// random moment and replaced, while the others go on.
TEST_F(TortureTest, TheOthersGoOnWhenOneIsKilled) {
  constexpr int kWorkers = 3;
  constexpr std::int32_t kNumbersEach = 200;
  struct Worker {
    std::atomic<long> done = 0;
    std::atomic<std::int32_t> current = -1;                     // the number being worked on
    std::array<std::atomic<std::uint32_t>, kNumbersEach> held;  // the version there, 0 for none
  };
  struct Shared {
    std::array<Worker, kWorkers> workers;
    std::atomic<int> wrong = 0;
    std::atomic<int> error = 0;  // of the last of them
  };
  Shared& all = shared<Shared>();
  build_wide("file", {});
  const auto note_wrong = [&all] {
    all.error = iserrno;
    ++all.wrong;
  };
  const auto work = [&all, &note_wrong](int index, unsigned seed) {
    Worker& worker = all.workers[static_cast<std::size_t>(index)];
    std::mt19937 random(seed);
    const int file = ISOPEN("file", kIsInputOutput | kIsManualLock);
    if (file < 0) note_wrong();
    // What the one before us was doing when it died is done or not; look.
    if (worker.current >= 0) {
      std::string record = wide_record(worker.current * kWorkers + index, 0);
      const bool there = ISREAD(file, record.data(), kIsEqual) == 0;
      if (!there && iserrno != kIsNoRecord) note_wrong();
      if (there && ISDELETE(file, record.data()) != 0) note_wrong();
      worker.held[static_cast<std::size_t>(worker.current)] = 0;
    }
    for (;;) {
      const auto slot = static_cast<std::size_t>(random() % kNumbersEach);
      const auto number = static_cast<std::int32_t>(slot) * kWorkers + index;
      worker.current = static_cast<std::int32_t>(slot);
      const std::uint32_t version = worker.held[slot];
      const std::uint32_t next = version == 0 ? static_cast<std::uint32_t>(random() % 1000 + 1) : 0;
      if (perform({version == 0, number, next}, file) != 0) note_wrong();
      worker.held[slot] = next;
      worker.current = -1;
      ++worker.done;
    }
  };
  std::array<pid_t, kWorkers> children{};
  std::mt19937 random(7);
  const auto spawn = [&](int index) {
    const unsigned seed = static_cast<unsigned>(random());
    const pid_t child = fork();
    if (child == 0) work(index, seed);
    children[static_cast<std::size_t>(index)] = child;
  };
  for (int i = 0; i < kWorkers; ++i)
    spawn(i);
  const int kills = amount(60, 2000);
  for (int kill_count = 0; kill_count < kills; ++kill_count) {
    usleep(static_cast<useconds_t>(random() % 8000));
    const int victim = static_cast<int>(random() % kWorkers);
    kill(children[static_cast<std::size_t>(victim)], SIGKILL);
    int status = 0;
    waitpid(children[static_cast<std::size_t>(victim)], &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    // Nobody is blocked: all the others make progress.
    for (int other = 0; other < kWorkers; ++other) {
      if (other == victim) continue;
      const long before = all.workers[static_cast<std::size_t>(other)].done;
      for (int wait = 0; wait < 5000 && all.workers[static_cast<std::size_t>(other)].done == before;
           ++wait)
        usleep(1000);
      ASSERT_GT(all.workers[static_cast<std::size_t>(other)].done, before)
          << "after kill " << kill_count;
    }
    spawn(victim);
  }
  for (const pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  Contents found;
  EXPECT_EQ(examine("file", found), "");
  long done = 0;
  for (int index = 0; index < kWorkers; ++index) {
    const Worker& worker = all.workers[static_cast<std::size_t>(index)];
    done += worker.done;
    for (std::int32_t slot = 0; slot < kNumbersEach; ++slot) {
      if (slot == worker.current) continue;  // interrupted: either way
      const std::uint32_t version = worker.held[static_cast<std::size_t>(slot)];
      const auto record = found.find(slot * kWorkers + index);
      ASSERT_EQ(record != found.end(), version != 0) << slot << " of " << index;
      if (version == 0) continue;
      EXPECT_EQ(record->second, wide_record(slot * kWorkers + index, version));
    }
  }
  EXPECT_EQ(all.wrong, 0) << all.error;
  std::printf("[ killed ] %d times among %d processes that did %ld operations\n", kills + kWorkers,
              kWorkers, done);
}

}  // namespace
}  // namespace marigold::test
