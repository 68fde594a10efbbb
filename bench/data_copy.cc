// SPDX-License-Identifier: GPL-3.0-or-later
// Speed of marigold data copy, load and dump with a database cluster: a private server of this
// machine.
//
//   data_copy [N=200000] [ROUNDS=3]
//
// N records of the sample's customer file, written in random order, go from a directory to a
// schema, to another schema, and back, in turns; and a CSV file with the same records is loaded
// into a schema. Beside them the server itself copies the table in the order of writing and makes
// its indexes, in one transaction. Then both places are dumped as CSV, and a program without the
// tool only fetches the same records by COPY: what a dump of a cluster costs beside a dump and the
// fetching. Prints CSV: operation,n,seconds,records_per_s,ratio with the least times of the rounds,
// ratio being the time over that of the server; for the last three, over the time of the last two
// together. A wrong result ends the program with status 1.

#include <libpq-fe.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/database/database_server.h"

namespace marigold::inner::bench {
namespace {

using test::DatabaseServer;
using test::SqlSession;
using std::string_literals::operator""s;

[[noreturn]] void die(const std::string& what) {
  std::fprintf(stderr, "data_copy: %s\n", what.c_str());
  std::exit(1);
}

void run_tool(const std::string& words) {
  const std::string command = MARIGOLD_PATH " data " + words + " >/dev/null";
  if (std::system(command.c_str()) != 0) die(command);
}

double seconds_of(const std::function<void()>& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void write_customers(int count) {
  static constexpr const char* kNames[] = {"Huber",  "M\u00FCller", "\u00D6llinger", "Schmid",
                                           "Wagner", "Novak",       "Pichler",       "Gruber"};
  static constexpr const char* kTowns[] = {"Wien", "Graz", "Linz", "Gmunden", "St. P\u00F6lten"};
  std::mt19937 random(20240229);
  std::vector<int> numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), 1);
  std::ranges::shuffle(numbers, random);
  std::ofstream csv("customers.csv");
  csv << "NUMBER,NAME,STREET,TOWN,PHONE[1],BALANCE\n";
  for (const int number : numbers)
    csv << number << ',' << kNames[random() % std::size(kNames)] << ' ' << random() % 100'000
        << ",\u00C4tzweg " << random() % 300 << ',' << kTowns[random() % std::size(kTowns)]
        << ",0664 " << random() % 10'000'000 << ',' << random() % 100'000 << ".5\n";
}

// The table of the file in the schema "there".
std::string table_there(SqlSession& session) {
  return "there.f" + session.run("SELECT number FROM there.marigold_files WHERE name = 'CUSTOMER'");
}

void copy_by_server(SqlSession& session) {
  const std::string table = table_there(session);
  session.run("DROP TABLE IF EXISTS by_server; CREATE TABLE by_server (LIKE " + table +
              "); INSERT INTO by_server SELECT * FROM " + table +
              " ORDER BY seq; CREATE UNIQUE INDEX ON by_server (k1); CREATE INDEX ON by_server "
              "(k2, seq); CREATE INDEX ON by_server (k3, seq)");
}

// Fetches all records in the order of a dump, with a connection of its own as a dump has.
void fetch(const std::string& database, const std::string& table, int count) {
  const std::unique_ptr<PGconn, void (*)(PGconn*)> session(PQconnectdb(database.c_str()), PQfinish);
  const std::string copy =
      "COPY (SELECT seq, record FROM " + table + " ORDER BY k1) TO STDOUT WITH (FORMAT binary)";
  PGresult* const begun = PQexec(session.get(), copy.c_str());
  if (PQresultStatus(begun) != PGRES_COPY_OUT) die(PQerrorMessage(session.get()));
  PQclear(begun);
  constexpr int kHeader = 19;  // bytes, which may come without a record; the end has two
  int rows = 0;
  char* row = nullptr;
  for (int length = 0; (length = PQgetCopyData(session.get(), &row, 0)) > 0; PQfreemem(row))
    rows += length > kHeader ? 1 : 0;
  if (rows != count) die("COPY has fetched " + std::to_string(rows) + " records");
}

int run(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 200'000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  if (count < 1 || rounds < 1) die("N and ROUNDS are at least 1");
  if (!DatabaseServer::is_installed()) die(DatabaseServer::kMissing);
  std::string directory = std::filesystem::temp_directory_path().string() + "/data_copy.XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) die("cannot make a directory");
  std::filesystem::current_path(directory);
  setenv("DEFINITION_DIRECTORY", SAMPLE_DEFINITIONS, 1);
  setenv("DATA_DIRECTORY", "here", 1);
  write_customers(count);
  run_tool("load CUSTOMER customers.csv");
  DatabaseServer server({.settings = "fsync = on\n"});
  const std::string database = server.address(server.make_database());
  SqlSession session(database);
  const std::string there = "'" + database + "/there' ";
  const std::string other = "'" + database + "/other' ";
  const std::string loaded = "'" + database + "/loaded'";
  const std::string dumped = "'" + database + "/there/CUSTOMER'";
  const std::string replace = " CUSTOMER --replace";
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"directory to cluster", [&] { run_tool("copy here " + there + replace); }},
      {"by the server", [&] { copy_by_server(session); }},
      {"cluster to cluster", [&] { run_tool("copy " + there + other + replace); }},
      {"cluster to directory", [&] { run_tool("copy " + other + "back" + replace); }},
      {"directory to directory", [&] { run_tool("copy back again" + replace); }},
      {"load into cluster",
       [&] {
         session.run("DROP SCHEMA IF EXISTS loaded CASCADE");
         run_tool("load CUSTOMER customers.csv --path " + loaded.substr(0, loaded.size() - 1) +
                  "/CUSTOMER'");
       }},
      {"dump from cluster", [&] { run_tool("dump CUSTOMER --path " + dumped); }},
      {"dump from directory", [&] { run_tool("dump CUSTOMER"); }},
      {"COPY by the server's client", [&] { fetch(database, table_there(session), count); }}};
  std::vector<double> least(std::size(operations), HUGE_VAL);
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < std::size(operations); ++i)
      least[i] = std::min(least[i], seconds_of(operations[i].second));
  }
  std::puts("operation,n,seconds,records_per_s,ratio");
  constexpr std::size_t kDumps = 3;
  const std::size_t copies = least.size() - kDumps;
  for (std::size_t i = 0; i < least.size(); ++i)
    std::printf("%s,%d,%.3f,%.0f,%.2f\n", operations[i].first, count, least[i], count / least[i],
                least[i] / (i < copies ? least[1] : least[copies + 1] + least[copies + 2]));
  run_tool("dump CUSTOMER --key 2 -o here.csv");
  for (const std::string& copy : {"again/CUSTOMER"s, dumped}) {
    run_tool("dump CUSTOMER --key 2 -o copy.csv --path " + copy);
    if (std::system("cmp -s here.csv copy.csv") != 0) die("the copies differ");
  }
  std::filesystem::current_path("/");
  std::filesystem::remove_all(directory);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  return marigold::inner::bench::run(argc, argv);
}
