// SPDX-License-Identifier: GPL-3.0-or-later
// What only files of a database cluster can meet: a connection that is lost, a server that ends,
// refuses or comes back, other forms of addresses. A small server shared by all tests runs behind a
// line that counts and cuts.

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <random>

#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/process.h"
#include "tests/isam/support.h"
#include "tests/support/posix/database_server.h"
#include "tests/support/posix/line_proxy.h"

namespace marigold::inner::test {
namespace {

// Files behind a line.
struct ClusterTest : testing::Test {
  WorkDirectory directory;
  std::optional<LineProxy> line;
  std::string database;

  void SetUp() override {
    line.emplace(shared_server().socket());
    database = shared_server().make_database();
    test_in_cluster(address("schema"));
  }
  [[nodiscard]] std::string address(const std::string& rest) const {
    return line->address(database) + "/" + rest;
  }
  // Round trips of a call.
  std::uint64_t trips(const std::function<void()>& call) const {
    const std::uint64_t before = line->counts().round_trips;
    call();
    return line->counts().round_trips - before;
  }
};

TEST_F(ClusterTest, AnOperationIsOneRoundTrip) {
  const int file = build(kSharedMode);
  ASSERT_GE(file, 0) << isreason();
  for (const char* const steps : {"w1x",   "w2y",  "w3z",   "w2=100", "e1=1x", "e9=111", "f=1x",
                                  "n=2y",  "n=3z", "n=110", "p=3z",   "l=3z",  "c=3z",   "g1=2y",
                                  "E1=1x", "N=2y", "d3",    "d3=111", "E1=1x", "E7=111", "r"})
    EXPECT_EQ(trips([&] { play(file, steps); }), 1U) << steps;
  EXPECT_EQ(trips([&] { EXPECT_EQ(ISREPLACE(file, record(2, 'b').data()), 0); }), 1U);
  EXPECT_EQ(trips([&] { EXPECT_EQ(ISFLUSH(file), 0); }), 1U);
  play(file, "e2=2b E1=1x");
  play_elsewhere("e1=1x E1=107 d1=107");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// Whatever byte is the last one to pass, each change is done once, and no operation reports
// anything wrong.
TEST_F(ClusterTest, AConnectionCanBeCutAtEveryByte) {
  const int file = build(kSharedMode);
  ASSERT_GE(file, 0) << isreason();
  const auto work = [&] {
    play(file, "w1x w2y E2=2y d2 d2=111 w2z w2z=100 e2=2z f=1x N=2z d1 r");
    EXPECT_EQ(ISREPLACE(file, record(2, 'q').data()), 0);
    EXPECT_EQ(ISFLUSH(file), 0);
    play(file, "e2=2q d2 f=110");
  };
  work();
  for (const From side : {From::kClient, From::kServer}) {
    const LineCounts before = line->counts();
    work();
    const LineCounts after = line->counts();
    const std::uint64_t bytes = side == From::kClient ? after.client_bytes - before.client_bytes
                                                      : after.server_bytes - before.server_bytes;
    const int step = amount(37, 1);
    int cuts = 0;
    for (std::uint64_t n = 0; n < bytes && !HasFailure();
         n += static_cast<unsigned>(step), ++cuts) {
      SCOPED_TRACE(std::to_string(n) + " bytes from the " +
                   (side == From::kClient ? "client" : "server"));
      line->cut_after(side, n);
      work();
      line->disarm();
    }
    std::printf("[ cut    ] at %d of %llu bytes\n", cuts, static_cast<unsigned long long>(bytes));
  }
  expect_sound_and_close(file);
}

// ---- Counters: records whose increments are counted beside the server

constexpr int kCounters = 5;
constexpr int kWorkers = 4;

// What the workers know: increments that they have begun, and that were acknowledged.
struct Tally {
  std::array<std::atomic<std::int64_t>, kWorkers> begun;
  std::array<std::atomic<std::int64_t>, kWorkers> done;
  std::array<std::atomic<std::int64_t>, kWorkers> flushed;
  std::atomic<bool> enough;
  [[nodiscard]] static std::int64_t sum(const std::array<std::atomic<std::int64_t>, kWorkers>& of) {
    return std::accumulate(of.begin(), of.end(), std::int64_t{0});
  }
};

std::string counter(std::int32_t number, std::int32_t value) {
  std::string bytes = record(number) + std::string(4, '\0');
  isst_int4(value, bytes.data() + 8);
  return bytes;
}

void build_counters() {
  const int file = ISBUILD(at("counters").c_str(), 12, kPrimary, kSharedMode);
  ASSERT_GE(file, 0) << isreason();
  for (int number = 0; number < kCounters; ++number)
    ASSERT_EQ(ISWRITE(file, counter(number, 0).data()), 0);
  ASSERT_EQ(ISCLOSE(file), 0) << isreason();
}

// Locks a counter and increments it. False when somebody else has it.
bool increment(int file, std::int32_t number, Tally& tally, std::size_t worker) {
  std::string bytes = counter(number, 0);
  const int locked = error_of(ISREAD(file, bytes.data(), kIsEqual | kIsLock));
  if (locked == kIsLocked) return false;
  EXPECT_EQ(locked, 0) << isreason();
  const std::int32_t value = isld_int4(bytes.data() + 8);
  ++tally.begun[worker];
  EXPECT_EQ(error_of(ISREPLACE(file, counter(number, value + 1).data())), 0) << isreason();
  ++tally.done[worker];
  EXPECT_EQ(error_of(ISRELEASE(file)), 0) << isreason();
  return !testing::Test::HasFailure();
}

// A worker: so many increments, or until the others say that it is enough.
void count(std::size_t worker, int increments) {
  const Shared<Tally> tally("tally");
  std::mt19937 random(static_cast<unsigned>(process_number()));
  const int file = ISOPEN(at("counters").c_str(), kSharedMode);
  ASSERT_GE(file, 0) << iserrno << isreason();
  for (int i = 0; i < increments && !tally->enough && !testing::Test::HasFailure();) {
    if (increment(file, static_cast<std::int32_t>(random() % kCounters), *tally, worker)) ++i;
  }
  EXPECT_EQ(error_of(ISCLOSE(file)), 0) << isreason();
}

Process start_worker(int worker, int increments) {
  const auto body = [](int number, int of) { count(static_cast<std::size_t>(number), of); };
  return start_child(body, worker, increments);
}

// Returns the sum of all counters, each of which can be locked.
std::int64_t sum_of_counters() {
  const int file = ISOPEN(at("counters").c_str(), kSharedMode);
  EXPECT_GE(file, 0) << isreason();
  std::string bytes = counter(0, 0);
  std::int64_t sum = 0;
  for (int mode = kIsFirst; ISREAD(file, bytes.data(), mode | kIsLock) == 0; mode = kIsNext)
    sum += isld_int4(bytes.data() + 8);
  EXPECT_EQ(iserrno, kIsEndOfFile) << isreason();
  expect_sound_and_close(file);
  return sum;
}

TEST_F(ClusterTest, ProcessesCountExactly) {
  build_counters();
  std::vector<Process> workers;
  for (int worker = 0; worker < kWorkers; ++worker)
    workers.push_back(start_worker(worker, amount(150, 5000)));
  expect_done(workers);
  EXPECT_EQ(sum_of_counters(), kWorkers * amount(150, 5000));
}

TEST_F(ClusterTest, NothingIsLostWhenClientsAreKilled) {
  build_counters();
  const Shared<Tally> tally("tally");
  std::array<Process, kWorkers> workers;
  std::mt19937 random(7);
  const int kills = amount(24, 500);
  std::array<std::int64_t, kWorkers> at_start{};
  for (int kill = 0; kill < kills; ++kill) {
    const auto worker = static_cast<std::size_t>(kill % kWorkers);
    for (int i = 0; i < 10'000 && kill >= kWorkers && tally->begun[worker] == at_start[worker]; ++i)
      sleep_us(1000);
    sleep_us(static_cast<long>(random() % 10'000));
    workers[worker].kill();
    at_start[worker] = tally->begun[worker];
    workers[worker] = start_worker(static_cast<int>(worker), 1'000'000);
  }
  for (Process& process : workers)
    process.kill();
  const std::int64_t sum = sum_of_counters();
  EXPECT_GE(sum, Tally::sum(tally->done));
  EXPECT_LE(sum, Tally::sum(tally->begun));
  EXPECT_GT(sum, 0);
  std::printf("[ kills  ] %d, %lld increments\n", kills, static_cast<long long>(sum));
}

// ---- Servers that end and come back

// Workers count while something happens to the server.
void count_during(const std::function<void()>& event) {
  const Shared<Tally> tally("tally");
  std::vector<Process> workers;
  for (int worker = 0; worker < kWorkers; ++worker)
    workers.push_back(start_worker(worker, 1'000'000));
  const auto wait_for_more = [&] {
    const std::int64_t before = Tally::sum(tally->done);
    for (int i = 0; i < 30'000 && Tally::sum(tally->done) < before + 40; ++i)
      sleep_us(1000);
    EXPECT_GE(Tally::sum(tally->done), before + 40);
  };
  wait_for_more();
  event();
  wait_for_more();
  tally->enough = true;
  expect_done(workers);
  EXPECT_EQ(sum_of_counters(), Tally::sum(tally->done));
}

TEST_F(ClusterTest, ClientsWaitForAServerThatIsStartedAgain) {
  DatabaseServer server({.settings = "max_connections = 30\n"});
  test_in_cluster(server.address() + "/schema?durability=each");
  build_counters();
  count_during([&] {
    server.stop();
    server.start();
    server.kill();
    server.start();
  });
}

TEST_F(ClusterTest, ClientsGoOnWithTheStandby) {
  const int failovers = amount(1, 20);
  auto primary =
      std::make_unique<DatabaseServer>(ServerOptions{.settings = "max_connections = 30\n"});
  for (int i = 0; i < failovers && !HasFailure(); ++i) {
    auto standby = primary->make_standby();
    test_in_cluster("postgresql://" + primary->host() + "," + standby->host() +
                    "/postgres/schema_" + std::to_string(i) + "?durability=each");
    std::filesystem::remove("tally");
    build_counters();
    count_during([&] {
      primary->kill();
      standby->promote();
    });
    primary = std::move(standby);
  }
  std::printf("[ fails  ] %d\n", failovers);
}

}  // namespace
}  // namespace marigold::inner::test
