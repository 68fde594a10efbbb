// SPDX-License-Identifier: GPL-3.0-or-later
// Waiting time of a writing program during a backup of its file.
//
//   data_backup [MIB=1024] [ROUNDS=5]
//
// A keyed file of this size, records of 1,000 bytes with two keys, in a directory below the current
// one. A process replaces records at random, each time with another value of the second key,
// flushes after every 1,000, and notes the time of each operation. It does so in turns without a
// backup, for as long as "marigold data backup" takes, and during a backup. Prints CSV:
// backup,round,seconds,operations,median_us,longest_ms,longest_flush_ms, and at last the greatest
// values of all rounds (goal: longest_ms of at most 50 with a backup). A flush waits for the disk,
// with or without a backup, and is counted by itself.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "runtime/isam/common/isam.h"

namespace marigold::inner::bench {
namespace {

constexpr int kLength = 1000;
constexpr int kNameLength = 16;
constexpr const char* kDirectory = "data_backup.files";
constexpr const char* kBase = "data/1/BIG";

[[noreturn]] void die(const char* what) {
  std::fprintf(stderr, "data_backup: %s (iserrno %d)\n", what, iserrno);
  std::exit(1);
}

void must(bool done, const char* what) {
  if (!done) die(what);
}

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Shared by the two processes: when to note, and the noted values.
struct Notes {
  std::atomic<bool> on = false;
  std::atomic<std::int64_t> operations = 0;
  std::atomic<double> longest = 0;
  std::atomic<double> longest_flush = 0;
  std::array<std::atomic<std::int64_t>, 4096> by_tenth_us{};

  void clear() {
    operations = 0;
    longest = longest_flush = 0;
    for (auto& count : by_tenth_us)
      count = 0;
  }
  void note(double seconds) {
    constexpr double kTenths = 1e7;
    ++operations;
    ++by_tenth_us[std::min(static_cast<std::size_t>(seconds * kTenths), by_tenth_us.size() - 1)];
    longest = std::max(longest.load(), seconds);
  }
  [[nodiscard]] double median_us() const {
    std::int64_t passed = 0;
    std::size_t at = 0;
    while (at + 1 < by_tenth_us.size() && (passed += by_tenth_us[at]) * 2 < operations)
      ++at;
    return static_cast<double>(at) / 10;
  }
};

void set_record(std::string& record, std::int32_t number, unsigned name) {
  isst_int4(number, record.data());
  std::snprintf(&record[4], kNameLength, "%010u", name);
}

KeyDescription key_of(std::int16_t flags, std::int16_t start, std::int16_t length,
                      std::int16_t type) {
  KeyDescription key{.flags = flags, .part_count = 1, .parts = {}};
  key.parts[0] = {.start = start, .length = length, .type = type};
  return key;
}

void make_file(std::int32_t records) {
  std::filesystem::create_directories("definitions");
  std::filesystem::create_directories("data/1");
  std::FILE* set = std::fopen("definitions/FILEBIG.DES", "w");
  must(set != nullptr, "no definition set");
  std::fprintf(set,
               "BEGINFILE NAME BIG VERSION 1 PATH 1 LEN %d TYPE ISAM BEGINFIELD\n"
               "FIELD NUMBER TYPE LONGINT PREVAL NIL FIELD NAME TYPE STRING %d PREVAL NIL\n"
               "ENDFIELD BEGINKEY KEY 1 SEGMENT 1 IS NUMBER KEY 2 SEGMENT 1 IS NAME ENDKEY\n"
               "ENDFILE END.\n",
               kLength, kNameLength);
  must(std::fclose(set) == 0, "no definition set");
  const int file = ISBUILD(kBase, kLength, key_of(0, 0, 4, kIsInt4), kIsInputOutput | kIsExclusive);
  must(file >= 0 &&
           ISADDINDEX(file, key_of(kIsDuplicatesAllowed, 4, kNameLength, kIsCharacters)) == 0,
       "not built");
  std::mt19937 random(1);
  std::string record(kLength, '\0');
  for (std::int32_t number = 1; number <= records; ++number) {
    set_record(record, number, random());
    must(ISWRITE(file, record.data()) == 0, "not written");
  }
  must(ISCLOSE(file) == 0, "not closed");
}

// Runs until it is killed.
[[noreturn]] void write_on(Notes& notes, std::int32_t records) {
  constexpr int kFlushEvery = 1000;
  const int file = ISOPEN(kBase, kIsInputOutput | kIsManualLock);
  must(file >= 0, "not opened");
  std::mt19937 random(2);
  std::string record(kLength, '\0');
  for (int count = 1;; ++count) {
    set_record(record, 1 + static_cast<std::int32_t>(random() % static_cast<unsigned>(records)),
               random());
    Clock::time_point start = Clock::now();
    must(ISREPLACE(file, record.data()) == 0, "not replaced");
    if (notes.on) notes.note(since(start));
    if (count % kFlushEvery != 0) continue;
    start = Clock::now();
    must(ISFLUSH(file) == 0, "not flushed");
    if (notes.on) notes.longest_flush = std::max(notes.longest_flush.load(), since(start));
  }
}

double back_up() {
  std::filesystem::remove_all("backup");
  const auto start = Clock::now();
  must(std::system(MARIGOLD_PATH " data backup BIG backup > /dev/null") == 0, "no backup");
  return since(start);
}

struct Greatest {
  double median_us = 0;
  double longest = 0;
  double longest_flush = 0;
};

void print(const char* backup, const char* round, double seconds, const Notes& notes,
           Greatest& greatest) {
  std::printf("%s,%s,%.2f,%ld,%.1f,%.2f,%.1f\n", backup, round, seconds,
              static_cast<long>(notes.operations), notes.median_us(), notes.longest * 1e3,
              notes.longest_flush * 1e3);
  std::fflush(stdout);
  greatest.median_us = std::max(greatest.median_us, notes.median_us());
  greatest.longest = std::max(greatest.longest, notes.longest.load());
  greatest.longest_flush = std::max(greatest.longest_flush, notes.longest_flush.load());
}

void measure(Notes& notes, int rounds) {
  std::puts("backup,round,seconds,operations,median_us,longest_ms,longest_flush_ms");
  Greatest without;
  Greatest with;
  double seconds = back_up();  // without notes, to learn how long it takes
  for (int round = 1; round <= rounds; ++round) {
    const std::string name = std::to_string(round);
    notes.clear();
    notes.on = true;
    usleep(static_cast<useconds_t>(seconds * 1e6));
    notes.on = false;
    print("no", name.c_str(), seconds, notes, without);
    notes.clear();
    notes.on = true;
    seconds = back_up();
    notes.on = false;
    print("yes", name.c_str(), seconds, notes, with);
  }
  for (const auto& [backup, most] : {std::pair("no", without), std::pair("yes", with)})
    std::printf("%s,greatest,,,%.1f,%.2f,%.1f\n", backup, most.median_us, most.longest * 1e3,
                most.longest_flush * 1e3);
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  using namespace marigold::inner::bench;
  const long mib = argc > 1 ? std::atol(argv[1]) : 1024;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  const auto records = static_cast<std::int32_t>(mib * 1024 * 1024 / kLength);
  std::filesystem::remove_all(kDirectory);
  std::filesystem::create_directory(kDirectory);
  std::filesystem::current_path(kDirectory);
  for (const char* name : {"DEFINITION_DIRECTORY", "DATA_DIRECTORY", "IS_MULTIUSER"})
    unsetenv(name);
  make_file(records);
  void* memory =
      mmap(nullptr, sizeof(Notes), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  must(memory != MAP_FAILED, "no memory");
  auto& notes = *new (memory) Notes;
  const pid_t writer = fork();
  must(writer >= 0, "no process");
  if (writer == 0) write_on(notes, records);
  measure(notes, rounds);
  kill(writer, SIGKILL);
  waitpid(writer, nullptr, 0);
  std::filesystem::current_path("..");
  std::filesystem::remove_all(kDirectory);
  return 0;
}
