// SPDX-License-Identifier: GPL-3.0-or-later
// The database server of the tests and the line to it: a test that needs a crash, a cut or a full
// disk would pass without one.
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <sys/shm.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <thread>

#include "bench/database/database_server.h"
#include "bench/database/line_proxy.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

bool comes_true(const std::function<bool()>& condition) {
  for (int wait = 0; wait < 15000; ++wait) {
    if (condition()) return true;
    sleep_us(2000);
  }
  return false;
}

// An ended process without a command line may wait long for a parent that asks for its status.
bool is_alive(pid_t process) {
  return !read_file("/proc/" + std::to_string(process) + "/cmdline").empty();
}

bool connects(const std::string& address) {
  const std::unique_ptr<PGconn, void (*)(PGconn*)> session(PQconnectdb(address.c_str()), PQfinish);
  return PQstatus(session.get()) == CONNECTION_OK;
}

class DatabaseServerTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!DatabaseServer::is_installed()) GTEST_SKIP() << DatabaseServer::kMissing;
  }
};

TEST_F(DatabaseServerTest, KeepsWhatIsCommittedThroughEachKindOfEnd) {
  DatabaseServer server;
  server.sql("CREATE TABLE row (number int)");
  const auto stop = [&](int kind) {
    kind == 0 ? server.stop() : kind == 1 ? server.stop_immediately() : server.kill();
  };
  for (int kind = 0; kind < 3; ++kind) {
    SqlSession open(server.address());
    open.run("BEGIN; INSERT INTO row VALUES (-1)");
    server.sql("INSERT INTO row VALUES (1)");
    stop(kind);
    EXPECT_FALSE(server.is_running());
    EXPECT_TRUE(comes_true([&] { return !is_alive(open.backend()); })) << kind;
    EXPECT_NE(open.state_of("SELECT 1"), "00000") << kind;
    server.start();
    EXPECT_EQ(server.sql("SELECT sum(number) FROM row"), std::to_string(kind + 1));
    const bool recovered = server.log().find("not properly shut down") != std::string::npos;
    EXPECT_EQ(recovered, kind > 0) << kind;
  }
}

TEST_F(DatabaseServerTest, AStandbyTakesThePlaceOfTheFirstServer) {
  auto primary = std::make_unique<DatabaseServer>();
  primary->sql("CREATE TABLE row (number int)");
  for (const bool slot : {true, false}) {
    std::unique_ptr<DatabaseServer> standby = primary->make_standby({.slot = slot});
    EXPECT_EQ(primary->sql("SELECT count(*) FROM pg_replication_slots"), slot ? "1" : "0");
    const std::string cluster = "postgresql://" + primary->host() + "," + standby->host() +
                                "/postgres?target_session_attrs=read-write";
    SqlSession(cluster).run("INSERT INTO row VALUES (1)");
    primary->kill();
    EXPECT_EQ(SqlSession(standby->address()).state_of("INSERT INTO row VALUES (1)"), "25006");
    standby->promote();
    SqlSession(cluster).run("INSERT INTO row VALUES (2)");
    primary = std::move(standby);
  }
  EXPECT_EQ(primary->sql("SELECT sum(number) FROM row"), "6");
}

TEST_F(DatabaseServerTest, ChangesWhoMayConnectAndHow) {
  DatabaseServer server({.settings = "work_mem = '5MB'\n", .tcp = true});
  EXPECT_EQ(server.sql("SHOW work_mem"), "5MB");
  server.configure("work_mem = '6MB'\n");
  EXPECT_EQ(SqlSession(server.tcp_address()).run("SHOW work_mem"), "6MB");
  server.allow("local all all reject\nhost all all 127.0.0.1/32 scram-sha-256\n");
  EXPECT_FALSE(connects(server.address()));
  EXPECT_FALSE(connects(server.tcp_address()));
  server.allow(DatabaseServer::kAllowAll);
  EXPECT_TRUE(connects(server.address()));
}

TEST_F(DatabaseServerTest, FillsItsDiskAndMakesRoomAgain) {
  DatabaseServer server({.disk = 100});
  if (!server.has_small_disk()) GTEST_SKIP() << "this user may not mount a disk";
  SqlSession session(server.address());
  session.run("CREATE TABLE row AS SELECT 1 AS number");
  const char* const kInsert = "INSERT INTO row SELECT generate_series(1, 100000)";
  server.fill_disk();
  EXPECT_EQ(session.state_of(kInsert), "53100");
  server.free_disk();
  EXPECT_EQ(session.state_of(kInsert), "00000");
}

TEST_F(DatabaseServerTest, AKilledProgramLeavesNothing) {
  const WorkDirectory work;
  for (const bool running : {true, false}) {
    const auto child = [](bool is_running) {
      DatabaseServer server;
      // The number of the process is the first word, that of a segment of memory the seventh.
      write_file("left",
                 server.socket() + "\n" + server.sql("SELECT pg_read_file('postmaster.pid')"));
      if (!is_running) server.kill();
      die_now();
    };
    ASSERT_EQ(run_child(child, running), kKilled);
    std::istringstream left(read_file("left"));
    std::string socket;
    std::string skipped;
    pid_t postmaster = 0;
    int segment = 0;
    left >> socket >> postmaster;
    for (int word = 0; word < 5; ++word)
      left >> skipped;
    left >> segment;
    const std::filesystem::path directory = std::filesystem::path(socket).parent_path();
    EXPECT_TRUE(comes_true([&] { return !std::filesystem::exists(directory); })) << directory;
    EXPECT_FALSE(is_alive(postmaster));
    shmid_ds state{};
    EXPECT_NE(shmctl(segment, IPC_STAT, &state), 0);
  }
}

class LineProxyTest : public DatabaseServerTest {
 protected:
  void SetUp() override {
    DatabaseServerTest::SetUp();
    if (IsSkipped()) return;
    database_ = shared_server().make_database();
    proxy_.emplace(shared_server().socket());
    address_ = proxy_->address(database_);
    sql("CREATE TABLE row (number int)");
  }
  std::string sql(const std::string& statements) const {
    return shared_server().sql(statements, database_);
  }
  bool has_backend(pid_t backend) const {
    return sql("SELECT 1 FROM pg_stat_activity WHERE pid = " + std::to_string(backend)) == "1";
  }

  std::string database_;
  std::string address_;
  std::optional<LineProxy> proxy_;
};

const std::string kInsert = "INSERT INTO row VALUES (1)";
// The statement as a message: a letter, four bytes of length, a zero byte.
const std::uint64_t kInsertBytes = kInsert.size() + 6;

TEST_F(LineProxyTest, CountsRoundTripsAndBytes) {
  SqlSession session(address_);
  const LineCounts before = proxy_->counts();
  session.run(kInsert);
  const LineCounts one = proxy_->counts();
  EXPECT_EQ(one.round_trips - before.round_trips, 1u);
  EXPECT_EQ(one.client_bytes - before.client_bytes, kInsertBytes);
  for (const From side : {From::kClient, From::kServer})
    proxy_->delay(side, std::chrono::milliseconds(20));
  const auto start = std::chrono::steady_clock::now();
  session.run("SELECT 1");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
  // The digits, and the blanks between the numbers.
  EXPECT_EQ(
      session.run("SELECT string_agg(x::text, ' ') FROM generate_series(1, 1000000) x").size(),
      6888895u);
  const LineCounts two = proxy_->counts();
  EXPECT_EQ(two.round_trips - one.round_trips, 2u);
  EXPECT_GT(two.server_bytes - one.server_bytes, 6888895u);
  EXPECT_EQ(two.connections, 1u);
}

TEST_F(LineProxyTest, CutsAfterTheBytesAskedFor) {
  const auto open_files = [] {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  };
  const auto files = open_files();
  const struct {
    From side;
    std::uint64_t bytes;
    bool is_done;  // by the server
  } rows[] = {{From::kClient, 0, false},
              {From::kClient, kInsertBytes - 1, false},
              {From::kClient, kInsertBytes, true},
              {From::kServer, 0, true},
              {From::kServer, 1, true}};
  std::optional<SqlSession> other(address_);
  int done = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << (row.side == From::kClient) << ' ' << row.bytes);
    SqlSession session(address_);
    proxy_->cut_after(row.side, row.bytes);
    EXPECT_EQ(session.state_of(kInsert), "08006");
    EXPECT_TRUE(comes_true([&] { return !has_backend(session.backend()); }));
    done += row.is_done ? 1 : 0;
    EXPECT_EQ(sql("SELECT count(*) FROM row"), std::to_string(done));
  }
  proxy_->cut_next_after(From::kServer, 1);
  EXPECT_EQ(other->state_of(kInsert), "00000");
  EXPECT_FALSE(connects(address_));
  EXPECT_TRUE(connects(address_));
  EXPECT_EQ(proxy_->counts().cuts, 6u);
  proxy_->cut_all();
  EXPECT_EQ(other->state_of("SELECT 1"), "08006");
  other.reset();
  EXPECT_TRUE(comes_true([&] { return open_files() == files; })) << open_files() << " of " << files;
}

TEST_F(LineProxyTest, HoldsAnswersBackWhileTheServerHasDoneItsWork) {
  std::atomic<bool> answered = false;
  SqlSession session(address_);
  proxy_->hold(From::kServer);
  std::thread client([&] {
    session.run(kInsert);
    answered = true;
  });
  EXPECT_TRUE(proxy_->wait_for_held(From::kServer));
  EXPECT_EQ(sql("SELECT count(*) FROM row"), "1");
  EXPECT_FALSE(answered);
  proxy_->release(From::kServer);
  client.join();
  EXPECT_TRUE(answered);

  // The server learns of a client that ends while its answer is held.
  proxy_->hold(From::kServer);
  Process killed = start_child([](const std::string& address) { connects(address); },
                               address_ + "?application_name=killed");
  EXPECT_TRUE(proxy_->wait_for_held(From::kServer));
  const auto sessions_are = [&](const char* count) {
    return comes_true([&] {
      return sql("SELECT count(*) FROM pg_stat_activity WHERE application_name = 'killed'") ==
             count;
    });
  };
  EXPECT_TRUE(sessions_are("1"));
  killed.kill();
  EXPECT_TRUE(sessions_are("0"));
}

}  // namespace
}  // namespace marigold::inner::test
