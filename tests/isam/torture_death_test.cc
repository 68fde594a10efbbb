// SPDX-License-Identifier: GPL-3.0-or-later
// Processes that are killed in the middle of an operation.

#include <array>
#include <atomic>
#include <random>

#include "runtime/isam/local/entry_sort.h"
#include "runtime/isam/local/file.h"
#include "runtime/platform/record_file.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

// A child reports here until it dies.
struct Report {
  std::atomic<std::size_t> acknowledged = 0;  // operations that returned
  std::atomic<long> copy = 0;                 // number of a copy that outlives the child
};
Report* report = nullptr;
long steps_left = 0;
bool leaves_copy = false;

// Lets this child report, and die at a step. At some steps a copy of it lives on with everything
// that the copy has inherited.
void report_and_die_at(long step) {
  static const Shared<Report> shared("report");
  report = &*shared;
  steps_left = step;
  leaves_copy = step % 8 == 2;
  isam::change_step_hook = [] {
    if (--steps_left != 0) return;
    if (leaves_copy) report->copy = leave_copy();
    die_now();
  };
}

// Performs the operations on an open file. Those with a y succeed. After `flushed` of them comes a
// flush, so that slots deleted so far can be reused from then on.
void perform_and_report(int file, const std::vector<Operation>& operations,
                        const std::string& succeeds, std::size_t flushed) {
  for (std::size_t i = 0; i < operations.size(); ++i) {
    EXPECT_EQ(perform(operations[i], file) == 0, succeeds[i] == 'y');
    EXPECT_EQ(++report->acknowledged == flushed ? ISFLUSH(file) : 0, 0);
  }
}

// Returns which of the operations on the list succeed.
std::string outcomes(const std::vector<Operation>& operations, Contents contents) {
  std::string letters;
  for (const Operation& operation : operations)
    letters += apply(operation, contents) ? 'y' : 'n';
  return letters;
}

struct DeathTest : TortureTest {
  DeathTest() { adopt_copies(); }
  ~DeathTest() override { end_old_copy(); }

  // Lets a child work on "file" until it is killed at this step, the first word of its body; returns
  // its status. After some steps the next process is killed as well, while it recovers the file.
  template <typename Work, typename... Values>
  int kill_at(long step, Work work, const Values&... values) {
    end_old_copy();
    reported->acknowledged = 0;
    const int status = run_child(work, step, values...);
    copies += reported->copy == 0 ? 0 : 1;
    kills += status == kKilled ? 1 : 0;
    if (kills % 1'000 == 999) print_kills("so far");
    if (status != kKilled || step % 4 != 1) return status;
    const auto open_and_close = [](long dies_at, int number) {
      const OtherRun run(number);
      report_and_die_at(dies_at);
      leaves_copy = false;
      ISCLOSE(ISOPEN("file", kSharedMode));
    };
    const int next = run_child(open_and_close, step % 31 + 1, OtherRun::number());
    EXPECT_TRUE(next == 0 || next == kKilled) << next;
    kills_again += next == kKilled ? 1 : 0;
    return status;
  }

  // Expects the records after the operations that were acknowledged, with or without the next one.
  void expect_acknowledged(Contents expected, const std::vector<Operation>& operations) {
    const std::size_t acknowledged = reported->acknowledged;
    for (std::size_t i = 0; i < acknowledged; ++i)
      apply(operations[i], expected);
    Contents with_next = expected;
    if (acknowledged < operations.size()) apply(operations[acknowledged], with_next);
    Contents found;
    EXPECT_EQ(examine("file", found), "");
    EXPECT_TRUE(found == expected || found == with_next);
  }

  void print_kills(const char* where) const {
    std::printf("[ killed ] %d times %s, beside %d copies; %d times while that was made good\n",
                kills, where, copies, kills_again);
  }

  int kills = 0;
  int kills_again = 0;
  int copies = 0;
  const Shared<Report> reported{"report"};

 private:
  void end_old_copy() {
    if (const long copy = reported->copy.exchange(0); copy != 0) end_copy(copy);
  }
};

TEST_F(DeathTest, KilledAtEveryStepNothingIsHalfDone) {
  constexpr int numbers = 90;
  const Contents start = some_contents(numbers, 5);
  build_wide("start", start);
  const auto work = [](long step, unsigned seed, const std::string& succeeds) {
    report_and_die_at(step);
    const int file = ISOPEN("file", kSharedMode);
    perform_and_report(file, random_operations(seed, 6, numbers), succeeds, 4);
    EXPECT_EQ(ISCLOSE(file), 0);
  };
  for (unsigned seed = 0; kills < amount(is_slow_system() ? 200 : 600, 50'000); ++seed) {
    const auto operations = random_operations(seed + 100, 6, numbers);
    const std::string succeeds = outcomes(operations, start);
    // Not many in a short run, so that they fall into many different operations.
    const int stride = amount(17, 1);
    for (long step = 1 + seed % static_cast<unsigned>(stride);; step += stride) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      copy_pair("start", "file");
      const int status = kill_at(step, work, seed + 100, succeeds);
      expect_acknowledged(start, operations);
      if (status == 0) break;
      ASSERT_EQ(status, kKilled);
      ASSERT_FALSE(HasFailure());
    }
  }
  print_kills("in operations");
}

// Builds files, adds keys, restarts the machine during use, rebuilds indexes and reads snapshots,
// with a death at each step, and often another restart after it. Operations acknowledged in the
// last run must hold.
enum Life { kBuild, kAddKey, kSnapshot, kRestart, kRebuild, kLives };
constexpr KeyDescription kLaterKey{1, 1, {{{200, 20, kIsCharacters}}}};

void live(Life life, unsigned seed, const std::string& succeeds) {
  if (life == kRebuild) {
    IsRebuildReport rebuilt;
    EXPECT_EQ(error_of(isrebuild("file", rebuilt)), 0);
  }
  if (life == kAddKey) {
    const int alone = ISOPEN("file", kExclusiveMode);
    EXPECT_EQ(error_of(ISADDINDEX(alone, kLaterKey)), 0);
    EXPECT_EQ(ISCLOSE(alone), 0);
  }
  const int file = life == kBuild ? ISBUILD("file", kWideRecord, kWidePrimary, kSharedMode)
                                  : ISOPEN("file", kSharedMode);
  EXPECT_GE(file, 0) << iserrno;
  EXPECT_EQ(life == kSnapshot ? issnapshot(std::array{file}) : 0, 0);
  perform_and_report(file, random_operations(seed, 12, 60), succeeds, 5);
  EXPECT_EQ(life == kSnapshot ? issnapshot_end(file) : 0, 0);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(DeathTest, KilledAroundARunNothingIsLost) {
  const Contents start = some_contents(60, 5);
  build_wide("start", start);
  const auto dies = [](long step, Life life, unsigned seed, const std::string& succeeds) {
    const OtherRun run(1);
    report_and_die_at(step);
    live(life, seed, succeeds);
  };
  const auto use_and_leave = [] {  // in the run before
    const int file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(ISREPLACE(file, read_first(file).data()), 0);
  };
  for (int round = 0; (round < kLives || kills < amount(0, 30'000)) && !HasFailure(); ++round) {
    const Life life = static_cast<Life>(round % kLives);
    const auto seed = static_cast<unsigned>(77 + round / kLives);
    const Contents before = life == kBuild ? Contents() : start;
    const auto operations = random_operations(seed, 12, 60);
    const std::string succeeds = outcomes(operations, before);
    int status = kKilled;
    for (long step = 1; status != 0 && !HasFailure(); step += amount(7, 1)) {
      SCOPED_TRACE("round " + std::to_string(round) + " step " + std::to_string(step));
      remove_pair("file");
      if (life != kBuild) copy_pair("start", "file");
      EXPECT_EQ(life == kRestart ? run_child(use_and_leave) : 0, 0);
      const OtherRun run(1);
      status = kill_at(step, dies, life, seed, succeeds);
      ASSERT_TRUE(status == 0 || status == kKilled) << status;
      // A file whose builder was killed does not exist, and can be built.
      if (life == kBuild && reported->acknowledged == 0 &&
          ISCLOSE(ISOPEN("file", kSharedMode)) != 0) {
        EXPECT_EQ(ISCLOSE(ISBUILD("file", kWideRecord, kWidePrimary, kSharedMode)), 0) << iserrno;
      }
      expect_acknowledged(before, operations);
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
  const auto make_keys = [](long step, int round) {
    report_and_die_at(step);
    isam::sort_run_bytes = (step + round / 2) % 2 == 0 ? 0 : 3000;
    if (round % 2 == 0) {
      IsRebuildReport rebuilt;
      EXPECT_EQ(isrebuild("file", rebuilt), 0);
    } else {
      const int file = ISOPEN("file", kExclusiveMode);
      EXPECT_EQ(ISADDINDEX(file, kLaterKey), 0);
      EXPECT_EQ(ISCLOSE(file), 0);
    }
  };
  for (int round = 0; (round < 2 || kills < amount(0, 10'000)) && !HasFailure(); ++round) {
    int status = kKilled;
    long step = 0;
    while (status == kKilled && !HasFailure()) {
      SCOPED_TRACE(++step);
      copy_pair("start", "file");
      status = kill_at(step, make_keys, round);
      expect_holds("file", contents);
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
  static const auto record = [](std::int32_t number, const std::string& text) {
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
  const auto move = [](long step) {
    report_and_die_at(step);
    const int file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(ISREPLACE(file, record(159, "1005").data()), 0);
    EXPECT_EQ(ISCLOSE(file), 0);
  };
  int status = kKilled;
  for (long step = 1; status != 0 && !HasFailure(); ++step) {
    SCOPED_TRACE(step);
    copy_pair("start", "file");
    status = kill_at(step, move);
    expect_sound_and_close(ISOPEN("file", kSharedMode));
  }
  EXPECT_EQ(status, 0);
}

// A process that may only read a file can lock each of its bytes shared: the seats of dead writers,
// and the bytes of records. No process waits for such locks.
TEST_F(DeathTest, AReaderWithLocksKeepsNobodyFromWriting) {
  build_wide("file", some_contents(20, 1));
  const auto go_on_beside_the_reader = [] {
    const auto die_in_a_change = [] {
      const int file = ISOPEN("file", kSharedMode);
      report_and_die_at(20);
      ISWRITE(file, wide_record(2000, 1).data());
    };
    end_within(5);
    const int file = ISOPEN("file", kSharedMode);  // has seat 0; the dead one has 1
    const std::string record = read_first(file, kIsLock);
    EXPECT_EQ(ISRELEASE(file), 0);
    EXPECT_EQ(run_child(die_in_a_change), kKilled);
    RecordFile reader;
    EXPECT_EQ(reader.open("file.idx", false), 0);
    EXPECT_EQ(reader.lock(isam::kSeatLocks + 1, isam::kSeats - 1, false), 0);
    EXPECT_EQ(reader.lock(isam::kRecordLocks, isam::kRecordLockBytes, false), 0);
    EXPECT_EQ(error_of(ISWRITE(file, wide_record(1000, 1).data())), 0);
    EXPECT_EQ(error_of(ISDELETE(file, record.data())), 0);
    expect_sound_and_close(file);
  };
  EXPECT_EQ(run_child(go_on_beside_the_reader), 0);
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
  const Shared<Team> shared_team("team");
  Team& team = *shared_team;
  build_wide("file", {});
  std::array<Process, kWorkers> children;
  std::mt19937 random(7);
  const auto spawn = [&](std::size_t index) {
    const auto seed = static_cast<unsigned>(random());
    children[index] = start_child(
        [](std::size_t own, unsigned from) { work_for_ever(own, from, *Shared<Team>("team")); },
        index, seed);
  };
  const auto end = [&](std::size_t index) { ASSERT_EQ(children[index].kill(), kKilled); };
  for (std::size_t index = 0; index < kWorkers; ++index)
    spawn(index);
  const int kills = amount(60, 20'000);
  for (int count = 0; count < kills && !HasFailure(); ++count) {
    sleep_us(static_cast<long>(random() % 8000));
    const std::size_t victim = random() % kWorkers;
    end(victim);
    // No process is blocked: all the others make progress.
    for (std::size_t other = 0; other < kWorkers; ++other) {
      if (other == victim) continue;
      const std::atomic<long>& done = team.workers[other].done;
      const long before = done;
      for (int wait = 0; wait < 5000 && done == before; ++wait)
        sleep_us(1000);
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
