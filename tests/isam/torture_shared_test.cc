// SPDX-License-Identifier: GPL-3.0-or-later
// Many processes on one file.

#include <array>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

constexpr int kProcesses = 8;
constexpr std::int32_t kNumbers = 500;
constexpr std::int32_t kCounter = 1'000'000;  // number of the record in which all count up

struct Tally {
  std::array<std::atomic<int>, kNumbers> there;  // writes minus deletes that succeeded, by number
  std::atomic<long> counted = 0;
  std::atomic<long> operations = 0;
  std::atomic<int> wrong = 0;
};

// Reads the counter's record with its lock, writes it back one higher, and gives the lock back.
void count_up(int file, Tally& tally) {
  std::string record(kWideRecord, '\0');
  isst_int4(kCounter, record.data());
  while (ISREAD(file, record.data(), kIsEqual | kIsLock) != 0) {
    if (iserrno != kIsLocked) ++tally.wrong;
    isst_int4(kCounter, record.data());
    sleep_us(50);
  }
  isst_int4(isld_int4(record.data() + 4) + 1, record.data() + 4);
  if (ISDELETE(file, record.data()) != 0 || ISWRITE(file, record.data()) != 0) ++tally.wrong;
  ++tally.counted;
  if (ISRELEASE(file) != 0) ++tally.wrong;
}

void work(unsigned seed, int seconds, Tally& tally) {
  std::mt19937 random(seed);
  const int file = ISOPEN("file", kSharedMode);
  ASSERT_GE(file, 0) << iserrno;
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  for (int i = 0; i % 64 != 0 || Clock::now() < end; ++i) {
    const auto number = static_cast<std::int32_t>(random() % kNumbers);
    std::string record = wide_record(number, 1);
    const unsigned what = random() % 20;
    auto& there = tally.there[static_cast<std::size_t>(number)];
    if (what == 0) {
      count_up(file, tally);
    } else if (what < 7) {
      there += ISWRITE(file, record.data()) == 0 ? 1 : 0;
    } else if (what < 11) {
      there -= ISDELETE(file, record.data()) == 0 ? 1 : 0;
    } else {
      const int error = error_of(ISREAD(file, record.data(), what < 16 ? kIsEqual : kIsNext));
      const std::int32_t found = isld_int4(record.data());
      const bool whole = found == kCounter || record == wide_record(found, 1);
      if (!whole || (error != 0 && error != kIsNoRecord && error != kIsEndOfFile)) ++tally.wrong;
    }
    ++tally.operations;
  }
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(TortureTest, ManyProcessesLoseNothing) {
  std::string counter(kWideRecord, '\0');
  isst_int4(kCounter, counter.data());
  build_wide("file", {{kCounter, counter}});
  const Shared<Tally> tally("tally");
  std::vector<Process> children;
  for (unsigned seed = 1; seed <= kProcesses; ++seed) {
    children.push_back(
        start_child([](unsigned own) { work(own, amount(2, 60), *Shared<Tally>("tally")); }, seed));
  }
  expect_done(children);
  EXPECT_EQ(tally->wrong, 0);
  Contents found;
  EXPECT_EQ(examine("file", found), "");
  EXPECT_EQ(isld_int4(found[kCounter].data() + 4), tally->counted);
  for (std::int32_t number = 0; number < kNumbers; ++number) {
    const int there = tally->there[static_cast<std::size_t>(number)];
    EXPECT_EQ(there, found.contains(number) ? 1 : 0) << number;
  }
  std::printf("[ shared ] %ld operations, %ld of them under the lock\n", tally->operations.load(),
              tally->counted.load());
}

// Each of the processes builds the file or finds it built, and writes a record of its own.
constexpr int kBuilders = 4;

void build_all(std::int32_t own, int files, std::atomic<int>& arrived) {
  for (int i = 0; i < files; ++i) {
    const std::string name = "new" + std::to_string(i);
    ++arrived;
    while (arrived < kBuilders * (i + 1))
      std::this_thread::yield();
    int file = -1;
    while (file < 0) {
      file = ISBUILD(name.c_str(), kWideRecord, kWidePrimary, kSharedMode);
      if (file >= 0) break;
      ASSERT_TRUE(iserrno == EEXIST || iserrno == kIsFileLocked) << iserrno;
      file = ISOPEN(name.c_str(), kSharedMode);
      ASSERT_TRUE(file >= 0 || iserrno == ENOENT || iserrno == kIsFileLocked) << iserrno;
    }
    ASSERT_EQ(ISWRITE(file, wide_record(own, 1).data()), 0) << iserrno;
    ASSERT_EQ(ISCLOSE(file), 0) << iserrno;
  }
}

TEST_F(TortureTest, OneOfSeveralProcessesBuildsAFile) {
  const int files = amount(is_slow_system() ? 150 : 1'500, 20'000);
  const Shared<std::atomic<int>> arrived("arrived");
  const auto body = [](std::int32_t own, int all) {
    const Shared<std::atomic<int>> common("arrived");
    build_all(own, all, *common);
    *common += kBuilders * all;  // no process waits for a failed one
  };
  std::vector<Process> children;
  for (std::int32_t own = 0; own < kBuilders; ++own)
    children.push_back(start_child(body, own, files));
  expect_done(children);
  for (int i = 0; i < files; ++i) {
    Contents found;
    EXPECT_EQ(examine("new" + std::to_string(i), found), "");
    EXPECT_EQ(found.size(), std::size_t{kBuilders}) << i;
  }
}

}  // namespace
}  // namespace marigold::inner::test
