// SPDX-License-Identifier: GPL-3.0-or-later
// Keyed files on a database cluster, beside the same statements written by hand with libpq, in one
// run on a private server of this machine.
//
//   cluster [RECORDS=50000] [PARTS...]     parts: operations walks processes latency; all by default
//
// Prints a line for each operation: microseconds by the engine and by hand, and the median of the
// ratios of blocks in turns, those of operations on one processor. `processes`: operations a second
// of 1, 2, 4 and 8 clients. `latency`: round trips of each operation on a line that takes 0.5 and
// 5 ms. A wrong result ends the program with status 1.

#include <libpq-fe.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/database/database_server.h"
#include "bench/database/line_proxy.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/isam/common/isam.h"

namespace marigold::inner::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr KeyDescription kPrimary{0, 1, {{{0, 4, kIsInt4}}}};
constexpr KeyDescription kName{1, 1, {{{4, 20, kIsCharacters}}}};
constexpr int kRecord = 200;
constexpr int kExclusiveMode = kIsInputOutput | kIsExclusive;
constexpr int kSharedMode = kIsInputOutput | kIsManualLock;

[[noreturn]] void die(const std::string& what) {
  std::fprintf(stderr, "cluster: %s (iserrno %d %s)\n", what.c_str(), iserrno, isreason());
  std::exit(1);
}

void check(bool right, const char* what) {
  if (!right) die(what);
}

std::string record_of(std::int32_t number, unsigned version = 0) {
  std::string record(kRecord, 'x');
  isst_int4(number, record.data());
  std::snprintf(&record[4], 21, "name %06d%9u", number % 997, version % 1000);
  return record;
}

// Bytes of the keys, as the engine orders them.
std::string primary_of(const std::string& record) {
  std::string key = record.substr(0, 4);
  key[0] = static_cast<char>(key[0] ^ '\x80');
  return key;
}

std::string big_endian(std::int64_t value) {
  std::string bytes(8, '\0');
  for (std::size_t i = 8; i-- > 0; value >>= 8)
    bytes[i] = static_cast<char>(value & 0xFF);
  return bytes;
}

// ---- By hand

class Hand {
 public:
  explicit Hand(const std::string& address) : connection_(PQconnectdb(address.c_str()), PQfinish) {
    check(PQstatus(connection_.get()) == CONNECTION_OK, PQerrorMessage(connection_.get()));
    for (const char* setting :
         {"SET synchronous_commit = off", "SET plan_cache_mode = force_generic_plan",
          "SET enable_seqscan = off", "SET enable_bitmapscan = off", "SET enable_sort = off"})
      run(setting);
    // A row of its own for the number of the last change, as each session of the engine has one.
    run("INSERT INTO bench.marigold_sessions (session, process, host, operation, sequence) VALUES (1, 1, 'hand', 0, 0) ON CONFLICT DO NOTHING");
    const std::string may = "WITH may AS MATERIALIZED (SELECT pg_try_advisory_xact_lock_shared(";
    const std::string ok = "::bigint) AS ok), ";
    const auto noted = [](const char* session, const char* operation, const char* sequence) {
      return std::string(
                 " RETURNING seq), noted AS (UPDATE bench.marigold_sessions SET operation = ") +
             operation + "::bigint, sequence = " + sequence +
             " FROM done WHERE session = " + session +
             "::bigint) SELECT ok, (SELECT seq FROM done), NOT ok AND EXISTS (SELECT FROM bench.f1 WHERE k1 = $1::bytea) FROM may";
    };
    const std::string rows = "SELECT seq, record, lock FROM bench.f1 WHERE ";
    prepare("get", rows + "k1 = $1::bytea LIMIT 1");
    prepare("get2", rows + "k2 = $1::bytea ORDER BY seq ASC LIMIT 1");
    prepare("next", rows + "k1 >= $1::bytea ORDER BY k1 ASC LIMIT 1");
    prepare("next2",
            rows + "(k2, seq) >= ($1::bytea, $2::bigint) ORDER BY k2 ASC, seq ASC LIMIT 1");
    prepare(
        "insert",
        may + "$3" + ok +
            "done AS (INSERT INTO bench.f1 (k1, k2, seq, lock, record) SELECT $1::bytea, "
            "$2::bytea, nextval('bench.f1_seq'), $3::bigint, $4::bytea FROM may WHERE ok ON CONFLICT DO NOTHING" +
            noted("$5", "$6", "done.seq"));
    prepare("replace",
            may + "$3" + ok +
                "done AS (UPDATE bench.f1 SET seq = nextval('bench.f1_seq'), record = $4::bytea, "
                "k2 = $2::bytea WHERE k1 = $1::bytea AND (SELECT ok FROM may)" +
                noted("$5", "$6", "done.seq"));
    prepare("delete",
            may + "$2" + ok +
                "done AS (DELETE FROM bench.f1 WHERE k1 = $1::bytea AND (SELECT ok FROM may)" +
                noted("$3", "$4", "0"));
    prepare(
        "lock",
        "WITH found AS MATERIALIZED (SELECT EXISTS (SELECT FROM bench.f1 WHERE k1 = $1::bytea) AS there), got AS MATERIALIZED (SELECT CASE "
        "WHEN there THEN CASE WHEN pg_try_advisory_lock($2::bigint) THEN 1 WHEN pg_try_advisory_xact_lock_shared($2::bigint) "
        "THEN 0 ELSE 2 END WHEN pg_try_advisory_xact_lock_shared($2::bigint) THEN 3 ELSE 2 END::bigint AS outcome FROM found) SELECT outcome FROM got");
    prepare("unlock", "SELECT pg_advisory_unlock($1::bigint)");
    prepare(
        "flush",
        "UPDATE bench.marigold_sessions SET operation = operation WHERE session = $1::bigint AND set_config('synchronous_commit', 'on', true) IS NOT NULL");
  }

  void run(const char* text) {
    PGresult* const result = PQexec(connection_.get(), text);
    const auto status = PQresultStatus(result);
    check(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK,
          PQerrorMessage(connection_.get()));
    PQclear(result);
  }

  // Runs a statement and copies the record of its row, if it has one.
  void run(const char* name, std::initializer_list<std::string_view> parameters) {
    send(name, parameters);
    take();
  }

  void lock_and_get(std::string_view key, std::string_view lock) {
    check(PQenterPipelineMode(connection_.get()) != 0, "pipeline");
    send("lock", {key, lock});
    send("get", {key});
    check(PQpipelineSync(connection_.get()) != 0, "sync");
    take();
    take();
    PQclear(PQgetResult(connection_.get()));
    check(PQexitPipelineMode(connection_.get()) != 0, "end of a pipeline");
  }

  // Fetches all records in order by COPY, and copies each.
  std::int64_t copy_all() {
    PGresult* const begun = PQexec(
        connection_.get(),
        "COPY (SELECT seq, record FROM bench.f1 ORDER BY k1 ASC) TO STDOUT WITH (FORMAT binary)");
    check(PQresultStatus(begun) == PGRES_COPY_OUT, "copy");
    PQclear(begun);
    std::int64_t rows = 0;
    char* row = nullptr;
    for (int length = 0; (length = PQgetCopyData(connection_.get(), &row, 0)) > 0; PQfreemem(row)) {
      if (length < kRecord) continue;
      std::copy_n(row + length - kRecord, kRecord, record_.begin());
      ++rows;
    }
    while (PGresult* const result = PQgetResult(connection_.get()))
      PQclear(result);
    return rows;
  }

  [[nodiscard]] const std::string& record() const { return record_; }

 private:
  void prepare(const char* name, const std::string& text) {
    PGresult* const result = PQprepare(connection_.get(), name, text.c_str(), 0, nullptr);
    check(PQresultStatus(result) == PGRES_COMMAND_OK, PQerrorMessage(connection_.get()));
    PQclear(result);
  }

  void send(const char* name, std::initializer_list<std::string_view> parameters) {
    std::array<const char*, 8> values{};
    std::array<int, 8> lengths{};
    std::array<int, 8> formats{};
    std::size_t count = 0;
    for (const std::string_view parameter : parameters) {
      values[count] = parameter.data();
      lengths[count] = static_cast<int>(parameter.size());
      formats[count++] = 1;
    }
    check(PQsendQueryPrepared(connection_.get(), name, static_cast<int>(count), values.data(),
                              lengths.data(), formats.data(), 1) != 0,
          name);
  }

  void take() {
    PGresult* const result = PQgetResult(connection_.get());
    const auto status = PQresultStatus(result);
    check(status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK,
          PQerrorMessage(connection_.get()));
    if (PQntuples(result) > 0 && PQnfields(result) == 3 && PQgetlength(result, 0, 1) == kRecord)
      std::copy_n(PQgetvalue(result, 0, 1), kRecord, record_.begin());
    PQclear(result);
    check(PQgetResult(connection_.get()) == nullptr, "a result is left");
  }

  std::unique_ptr<PGconn, void (*)(PGconn*)> connection_;
  std::string record_ = std::string(kRecord, '\0');
};

// ---- Measuring

// Microseconds a call.
double time_of(int calls, const std::function<void(int)>& call) {
  const auto begin = Clock::now();
  for (int i = 0; i < calls; ++i)
    call(i);
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / calls;
}

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

// Measures both in turns. `call(i)` counts on through all blocks.
void compare(const char* name, int blocks, int calls, const std::function<void(int)>& engine,
             const std::function<void(int)>& hand, int per_call = 1) {
  std::vector<double> by_engine;
  std::vector<double> by_hand;
  std::vector<double> ratios;
  for (int block = 0; block < blocks; ++block) {
    const auto at = [&](const std::function<void(int)>& call) {
      return time_of(calls, [&](int i) { call(block * calls + i); }) / per_call;
    };
    by_engine.push_back(at(engine));
    by_hand.push_back(at(hand));
    ratios.push_back(by_engine.back() / by_hand.back());
  }
  std::printf("%-28s %9.2f %9.2f %7.2f\n", name, median(by_engine), median(by_hand),
              median(ratios));
  std::fflush(stdout);
}

// Builds bench/FILE with records of even numbers, loaded.
void build(const std::string& directory, int records) {
  const int file =
      ISBUILD(cluster_join(directory, "file").c_str(), kRecord, kPrimary, kExclusiveMode);
  check(file >= 0, "build");
  check(ISADDINDEX(file, kName) == 0, "key");
  int next = 0;
  const auto begin = Clock::now();
  const auto give = [&](char* record) {
    if (next == records) return false;
    record_of(2 * next++).copy(record, kRecord);
    return true;
  };
  check(isload(file, give, {}) == 0, "load");
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  std::printf("load with both keys: %.0f records/s\n", records / seconds);
  check(ISCLOSE(file) == 0, "close");
}

void measure_operations(const std::string& directory, const std::string& server, int records) {
  const int file = ISOPEN(cluster_join(directory, "file").c_str(), kSharedMode);
  check(file >= 0, "open");
  Hand hand(server);
  const std::string one = big_endian(1);
  std::string buffer(kRecord, '\0');
  std::mt19937 random(1);
  std::vector<std::int32_t> any(1 << 16);
  std::ranges::generate(any, [&] {
    return static_cast<std::int32_t>(random() % static_cast<unsigned>(records)) * 2;
  });
  const auto some = [&](int i) { return any[static_cast<std::size_t>(i) % any.size()]; };
  std::printf("%-28s %9s %9s %7s\n", "microseconds", "engine", "by hand", "ratio");
  const int blocks = 15;
  const int calls = 2000;
  const auto read = [&](int mode, std::int32_t number) {
    isst_int4(number, buffer.data());
    check(ISREAD(file, buffer.data(), mode) == 0, "read");
  };
  compare(
      "get", blocks, calls, [&](int i) { read(kIsEqual, some(i)); },
      [&](int i) { hand.run("get", {primary_of(record_of(some(i)))}); });
  check(ISREAD(file, buffer.data(), kIsFirst) == 0, "first");
  std::string from(4, '\0');
  compare(
      "next, one a call", blocks, calls,
      [&](int i) {
        check(ISREAD(file, buffer.data(), i % records == records - 1 ? kIsFirst : kIsNext) == 0,
              "next");
      },
      [&](int) {
        hand.run("next", {from});
        from = primary_of(hand.record()) + '\0';
      });
  const auto select = [&](const KeyDescription& key) {
    ISSTART(file, key, 0, record_of(0).data(), kIsEqual);
  };
  select(kName);
  compare(
      "get by the second key", blocks, calls,
      [&](int i) {
        buffer = record_of(some(i));
        check(ISREAD(file, buffer.data(), kIsEqual) == 0, "get2");
      },
      [&](int i) { hand.run("get2", {record_of(some(i)).substr(4, 20)}); });
  select(kPrimary);
  // Odd numbers are new: the engine's end with 1 by 4, the others with 3.
  int written = 0;
  std::int64_t operation = 0;
  const auto change = [&](const char* what, std::int32_t number, unsigned version) {
    const std::string record = record_of(number, version);
    hand.run(what, {primary_of(record), record.substr(4, 20), big_endian(number), record, one,
                    big_endian(++operation)});
  };
  compare(
      "insert", blocks, calls,
      [&](int i) {
        check(ISWRITE(file, record_of(4 * i + 1).data()) == 0, "write");
        written = i;
      },
      [&](int i) { change("insert", 4 * i + 3, 0); });
  compare(
      "replace", blocks, calls,
      [&](int i) {
        check(ISREPLACE(file,
                        record_of(4 * (i * 7 % written) + 1, static_cast<unsigned>(i)).data()) == 0,
              "replace");
      },
      [&](int i) { change("replace", 4 * (i * 7 % written) + 3, static_cast<unsigned>(i)); });
  compare(
      "lock, get, and give back", blocks, calls,
      [&](int i) {
        read(kIsEqual | kIsLock, some(i));
        check(ISRELEASE(file) == 0, "release");
      },
      [&](int i) {
        const std::string lock = big_endian(some(i));
        hand.lock_and_get(primary_of(record_of(some(i))), lock);
        hand.run("unlock", {lock});
      });
  compare(
      "delete", blocks, calls,
      [&](int i) { check(ISDELETE(file, record_of(4 * i + 1).data()) == 0, "delete"); },
      [&](int i) {
        hand.run("delete", {primary_of(record_of(4 * i + 3)), big_endian(4 * i + 3), one,
                            big_endian(++operation)});
      });
  compare(
      "insert and flush", blocks, 50,
      [&](int i) {
        check(ISWRITE(file, record_of(4 * i + 1).data()) == 0 && ISFLUSH(file) == 0, "flush");
      },
      [&](int i) {
        change("insert", 4 * i + 3, 0);
        hand.run("flush", {one});
      });
  check(ISCLOSE(file) == 0, "close");
}

void measure_walks(const std::string& directory, const std::string& server) {
  Hand hand(server);
  std::string buffer(kRecord, '\0');
  std::int64_t rows = 0;
  const auto walk = [&](int mode, int ahead) {
    const int file = ISOPEN(cluster_join(directory, "file").c_str(), mode);
    check(file >= 0 && isahead(file, ahead) == 0, "open");
    rows = 0;
    for (int read = kIsFirst; ISREAD(file, buffer.data(), read) == 0; read = kIsNext)
      ++rows;
    check(iserrno == kIsEndOfFile && ISCLOSE(file) == 0, "walk");
  };
  std::int64_t copied = hand.copy_all();
  walk(kExclusiveMode, 0);
  check(rows == copied, "rows");
  struct Row {
    const char* name;
    int mode;
    int ahead;
  };
  for (const Row& row : {Row{"walk, exclusive; COPY", kExclusiveMode, 0},
                         {"walk, read-only; COPY", kIsInput | kIsReadOnly | kIsManualLock, 0},
                         {"walk, of a list; COPY", kSharedMode, 1024}}) {
    compare(
        row.name, 7, 1, [&](int) { walk(row.mode, row.ahead); },
        [&](int) { copied = hand.copy_all(); }, static_cast<int>(rows));
  }
}

// Reads or replaces records of its own, for a time. Returns the calls.
std::int64_t work(const std::string& directory, int process, bool writes, Clock::duration time) {
  const int file = ISOPEN(cluster_join(directory, "file").c_str(), kSharedMode);
  check(file >= 0, "open");
  std::int64_t calls = 0;
  for (const auto begin = Clock::now(); Clock::now() - begin < time; ++calls) {
    std::string record = record_of(static_cast<std::int32_t>(2 * (calls % 1000 * 8 + process)),
                                   static_cast<unsigned>(calls));
    const int result =
        writes ? ISREPLACE(file, record.data()) : ISREAD(file, record.data(), kIsEqual);
    check(result == 0, "call");
  }
  return calls;
}

void measure_processes(const std::string& directory, int processes, bool writes) {
  constexpr std::chrono::seconds kTime(2);
  int ends[2];
  check(pipe(ends) == 0, "pipe");
  std::fflush(stdout);
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    children.push_back(fork());
    if (children.back() != 0) continue;
    const std::int64_t calls = work(directory, process, writes, kTime);
    check(write(ends[1], &calls, sizeof calls) == sizeof calls, "write");
    _exit(0);
  }
  close(ends[1]);
  std::int64_t sum = 0;
  for (const pid_t child : children) {
    std::int64_t calls = 0;
    check(child > 0 && ::read(ends[0], &calls, sizeof calls) == sizeof calls, "a process failed");
    sum += calls;
  }
  for (const pid_t child : children)
    waitpid(child, nullptr, 0);
  close(ends[0]);
  std::printf("%d processes, %-7s %8.0f /s\n", processes, writes ? "replace" : "get",
              static_cast<double>(sum) / static_cast<double>(kTime.count()));
}

void measure_processes(const std::string& directory) {
  for (const int processes : {1, 2, 4, 8}) {
    for (const bool writes : {false, true})
      measure_processes(directory, processes, writes);
  }
}

void measure_latency(test::DatabaseServer& server) {
  test::LineProxy line(server.socket());
  const int file = ISOPEN(cluster_join(line.address() + "/bench", "file").c_str(), kSharedMode);
  check(file >= 0, "open");
  std::string buffer(kRecord, '\0');
  const auto read = [&](int mode) {
    isst_int4(4, buffer.data());
    check(ISREAD(file, buffer.data(), mode) == 0, "read");
  };
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"get", [&] { read(kIsEqual); }},
      {"next", [&] { read(kIsNext); }},
      {"lock and get", [&] { read(kIsEqual | kIsLock); }},
      {"release", [&] { check(ISRELEASE(file) == 0, "release"); }},
      {"insert", [&] { check(ISWRITE(file, record_of(-2).data()) == 0, "write"); }},
      {"replace", [&] { check(ISREPLACE(file, record_of(-2, 1).data()) == 0, "replace"); }},
      {"delete", [&] { check(ISDELETE(file, record_of(-2).data()) == 0, "delete"); }},
      {"flush", [&] { check(ISFLUSH(file) == 0, "flush"); }}};
  for (const auto& [name, operation] : operations)
    operation();  // prepares the statements
  for (const int microseconds : {250, 2500}) {
    for (const test::From side : {test::From::kClient, test::From::kServer})
      line.delay(side, std::chrono::microseconds(microseconds));
    for (std::size_t i = 0; i < std::size(operations); ++i) {
      // An operation needs those before it: all of them run, and one is timed.
      std::vector<double> times;
      std::uint64_t trips = 0;
      for (int round = 0; round < 9; ++round) {
        for (std::size_t j = 0; j < std::size(operations); ++j) {
          const std::uint64_t before = line.counts().round_trips;
          const double time = time_of(1, [&](int) { operations[j].second(); });
          if (j != i) continue;
          times.push_back(time);
          trips += line.counts().round_trips - before;
        }
      }
      std::printf("%.1f ms a round trip, %-13s %8.0f us, %.2f round trips\n", microseconds / 500.0,
                  operations[i].first, median(times), static_cast<double>(trips) / 9);
    }
  }
  line.delay(test::From::kClient, {});
  line.delay(test::From::kServer, {});
  check(ISCLOSE(file) == 0, "close");
}

// One processor for the client and the server's process. Two of them meet on one or on two
// processors by chance, and a round trip takes 15 or 45 us by that.
void stay_on_one_processor() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(0, &one);
  check(sched_setaffinity(0, sizeof one, &one) == 0, "processor");
}

const test::ServerOptions kServer{
    .settings =
        "fsync = on\nshared_buffers = 256MB\nmax_wal_size = 4GB\ncheckpoint_timeout = 1h\n"
        "autovacuum = off\n"};

// Makes a server with the file, and measures.
void with_server(int records,
                 const std::function<void(test::DatabaseServer&, const std::string&)>& measure) {
  test::DatabaseServer server(kServer);
  const std::string directory = server.address() + "/bench";
  build(directory, records);
  server.sql("VACUUM ANALYZE bench.f1");
  measure(server, directory);
}

int run(int records, const std::vector<std::string>& parts) {
  const auto wants = [&](const char* part) {
    return parts.empty() || std::ranges::find(parts, part) != parts.end();
  };
  if (wants("processes") || wants("walks")) {
    with_server(records, [&](test::DatabaseServer& server, const std::string& directory) {
      if (wants("walks")) measure_walks(directory, server.address());
      if (wants("processes")) measure_processes(directory);
    });
  }
  if (!wants("operations") && !wants("latency")) return 0;
  stay_on_one_processor();
  with_server(records, [&](test::DatabaseServer& server, const std::string& directory) {
    if (wants("operations")) measure_operations(directory, server.address(), records);
    if (wants("latency")) measure_latency(server);
  });
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  const int records = argc > 1 ? std::atoi(argv[1]) : 50'000;
  return marigold::inner::bench::run(records, {argv + std::min(argc, 2), argv + argc});
}
