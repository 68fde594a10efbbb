// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the access layer above the bare engine, and speed of the operator's tool for whole files.
//
//   data [N=200000] [ROUNDS=5]
//
// N records of the sample's customer file, in random order: written one by one, read by the primary
// key, walked by the second key; by data.h and by the engine's own operations, in turns, on the
// same records, in files that others may use. Then all of them by marigold data dump and load.
// Prints CSV: operation,n,engine_us,access_us,ratio with the least times of the rounds, ratio being
// the engine's over the access layer's (goal: 0.8), and for the tool
// operation,n,seconds,records_per_s. A wrong result ends the program with status 1.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "runtime/core/settings.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/definition/definition_set.h"

namespace marigold::inner::bench {
namespace {

constexpr int kSecondKey = 2;

[[noreturn]] void die(const std::string& what) {
  std::fprintf(stderr, "data: %s (iserrno %d)\n", what.c_str(), iserrno);
  std::exit(1);
}

void must(bool done, const char* what) {
  if (!done) die(what);
}

double seconds_of(const std::function<void()>& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The records in the order of their writing, and the numbers for the lookups.
class Customers {
 public:
  Customers(DataFile& file, int count)
      : length(static_cast<std::size_t>(file.definition.record_length)) {
    std::mt19937 random(20240229);
    for (int number = 1; number <= count; ++number)
      gets.push_back(number);
    std::ranges::shuffle(gets, random);
    bytes.resize(length * gets.size());
    for (std::size_t i = 0; i < gets.size(); ++i)
      make(file, gets[i], random, bytes.data() + i * length);
    std::ranges::shuffle(gets, random);
  }

  std::size_t length;
  std::vector<char> bytes;
  std::vector<int> gets;

 private:
  static void make(DataFile& file, int number, std::mt19937& random, char* record) {
    static constexpr const char* kNames[] = {"Huber",  "M\xFCller", "\xD6llinger", "Schmid",
                                             "Wagner", "Novak",     "Pichler",     "Gruber"};
    static constexpr const char* kTowns[] = {"Wien", "Graz", "Linz", "Gmunden", "St. P\xF6lten"};
    data_clear_record(file);
    data_put_long(file, "NUMBER", number);
    data_put_text(file, "NAME",
                  std::string(kNames[random() % std::size(kNames)]) + " " +
                      std::to_string(random() % 100'000));
    data_put_text(file, "STREET", "\xD6tzweg " + std::to_string(random() % 300));
    data_put_text(file, "TOWN", kTowns[random() % std::size(kTowns)]);
    data_put_text(file, "PHONE", "0664 " + std::to_string(random() % 10'000'000));
    data_put_double(file, "BALANCE", static_cast<double>(random() % 1'000'000) / 100);
    std::ranges::copy(file.record, record);
  }
};

// One of the two ways to the same file.
struct Way {
  std::function<void(const char* record)> write;
  std::function<void(int number)> get;
  std::function<std::uint64_t()> walk;  // returns the number of records
};

// ---- The engine

int make_bare(const FileDefinition& file, const std::string& base) {
  const int made =
      ISBUILD(base.c_str(), file.record_length, isam_key(file, 1), kIsInputOutput | kIsExclusive);
  must(made >= 0, "build");
  for (int key = 2; key <= file.keys.key_count; ++key)
    must(ISADDINDEX(made, isam_key(file, key)) == 0, "add a key");
  must(ISCLOSE(made) == 0, "close");
  return ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
}

Way bare_way(const FileDefinition& file, int number, std::vector<char>& record) {
  return {.write = [number](const char* bytes) { must(ISWRITE(number, bytes) == 0, "write"); },
          .get =
              [number, &record](int customer) {
                isst_int4(customer, record.data());
                must(ISREAD(number, record.data(), kIsEqual) == 0, "read");
                must(isld_int4(record.data()) == customer, "a wrong record");
              },
          .walk =
              [number, &record, &file] {
                must(ISSTART(number, isam_key(file, kSecondKey), 0, record.data(), kIsFirst) == 0,
                     "start");
                std::uint64_t count = 0;
                for (int mode = kIsFirst; ISREAD(number, record.data(), mode) == 0; mode = kIsNext)
                  ++count;
                return count;
              }};
}

// ---- The access layer

Way access_way(DataFile& file) {
  return {.write =
              [&file](const char* bytes) {
                std::memcpy(file.record.data(), bytes, file.record.size());
                must(data_write(file) == kDataDone, "data_write");
              },
          .get =
              [&file](int customer) {
                isst_int4(customer, file.record.data());
                must(data_read(file, 1, false, LockWait::kTell) == kDataDone, "data_read");
                must(isld_int4(file.record.data()) == customer, "a wrong record");
              },
          .walk =
              [&file] {
                std::uint64_t count = 0;
                for (int result = data_read_first(file, kSecondKey); result == kDataDone;
                     result = data_read_next(file, kSecondKey))
                  ++count;
                return count;
              }};
}

// ---- Measuring

// The least time of each operation: other work of the machine can only add to a time.
using Times = std::map<std::string, double>;

void time_into(Times& times, const char* operation, const std::function<void()>& body) {
  const double seconds = seconds_of(body);
  double& least = times.try_emplace(operation, seconds).first->second;
  least = std::min(least, seconds);
}

void measure(const Customers& customers, const Way& way, Times& times) {
  const std::size_t count = customers.gets.size();
  time_into(times, "load", [&] {
    for (std::size_t i = 0; i < count; ++i)
      way.write(customers.bytes.data() + i * customers.length);
  });
  time_into(times, "read", [&] {
    for (const int number : customers.gets)
      way.get(number);
  });
  constexpr int kWalks = 5;  // each is short
  for (int walk = 0; walk < kWalks; ++walk)
    time_into(times, "walk", [&] { must(way.walk() == count, "a walk that lost records"); });
}

void remove_pair(const std::string& base) {
  for (const char* suffix : {".dat", ".idx", ".ver"})
    std::filesystem::remove(base + suffix);
}

void compare(DataFile& file, int count, int rounds) {
  file.explicit_path = "access";
  must(data_open(file, LockWait::kTell) == kDataDone, "open");
  const Customers customers(file, count);
  data_close(file);
  Times engine;
  Times access;
  for (int round = 0; round < rounds; ++round) {
    remove_pair("bare");
    std::vector<char> record(customers.length);
    const int number = make_bare(file.definition, "bare");
    measure(customers, bare_way(file.definition, number, record), engine);
    must(ISCLOSE(number) == 0, "close");
    remove_pair("access");
    must(data_open(file, LockWait::kTell) == kDataDone, "open");
    measure(customers, access_way(file), access);
    data_close(file);
  }
  std::puts("operation,n,engine_us,access_us,ratio");
  for (const char* operation : {"load", "read", "walk"}) {
    const double bare = engine[operation] / count * 1e6;
    const double layered = access[operation] / count * 1e6;
    std::printf("%s,%d,%.3f,%.3f,%.2f\n", operation, count, bare, layered, bare / layered);
  }
}

// Dumps the file that the comparison has left, and loads the dump.
void run_tool(int count, int rounds) {
  const std::string tool = MARIGOLD_PATH " data ";
  const std::string fresh =
      "rm -f again.*; " + tool + "load CUSTOMER --set FILESHOP.DES --path again ";
  const std::pair<const char*, std::string> commands[] = {
      {"dump", tool + "dump CUSTOMER --set FILESHOP.DES --path access -o all.csv"},
      {"dump --json", tool + "dump CUSTOMER --set FILESHOP.DES --path access --json -o all.json"},
      {"dump --key 2", tool + "dump CUSTOMER --set FILESHOP.DES --path access --key 2 -o key2.csv"},
      {"load", fresh + "key2.csv >/dev/null"},
      {"load --json", fresh + "all.json >/dev/null"}};
  std::puts("operation,n,seconds,records_per_s");
  for (const auto& command : commands) {
    double least = HUGE_VAL;
    for (int round = 0; round < rounds; ++round)
      least = std::min(least, seconds_of([&] {
                         must(std::system(command.second.c_str()) == 0, command.first);
                       }));
    std::printf("%s,%d,%.3f,%.0f\n", command.first, count, least, count / least);
  }
}

int run(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 200'000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  if (count < 1 || rounds < 1) die("N and ROUNDS are at least 1");
  std::string directory = std::filesystem::temp_directory_path().string() + "/data.XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) die("cannot make a directory");
  std::filesystem::current_path(directory);
  std::filesystem::copy_file(SAMPLE_SET, "FILESHOP.DES");
  setenv("DEFINITION_DIRECTORY", directory.c_str(), 1);
  settings_read();
  definition_set_load("SHOP");
  compare(data_file("CUSTOMER"), count, rounds);
  run_tool(count, rounds);
  std::filesystem::current_path("/");
  std::filesystem::remove_all(directory);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  return marigold::inner::bench::run(argc, argv);
}
