// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of sets of changes, and of the guard that every lock and every write passes.
//
//   change_set [N=20000] [DIRECTORY=/tmp]
//
// N locked reads of records of the sample's customer file, and N writes: before the first set of the
// directory, after it, and while the file is marked by the set of a process that lives. Then N / 100
// times five records of two files: written one by one, each flushed; in one set; and one by one,
// with one flush for each file. Prints CSV: operation,n,us with the least times of 15 rounds, and
// ratios. A wrong result ends the program with status 1.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "runtime/core/settings.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/definition/definition_set.h"
#if __has_include("runtime/data/access/change_journal.h")
#include "runtime/data/access/change_journal.h"
#define MARIGOLD_BENCH_SETS 1
#endif
#include "runtime/isam/common/isam.h"

namespace marigold::inner::bench {
namespace {

constexpr int kRounds = 15;
constexpr int kRecords = 1000;

void must(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "change_set: %s (iserrno %d)\n", what, iserrno);
  std::exit(1);
}

double least_us(int count, const std::function<void()>& body) {
  double least = HUGE_VAL;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    body();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    least = std::min(least, time.count() / count * 1e6);
  }
  return least;
}

DataFile& customers() {
  return data_file("CUSTOMER");
}

DataFile& articles() {
  return data_file("ARTICLE");
}

void select(int number) {
  data_put_long(customers(), "NUMBER", number % kRecords);
}

void open_files() {
  must(data_open(customers(), LockWait::kTell) == kDataDone, "open");
  must(data_open(articles(), LockWait::kTell) == kDataDone, "open");
}

void lock_and_write(const char* when, int count) {
  const double lock = least_us(count, [&] {
    for (int i = 0; i < count; ++i) {
      select(i);
      must(data_read(customers(), 1, true, LockWait::kTell) == kDataDone, "locked read");
      data_release(customers());
    }
  });
  const double write = least_us(count, [&] {
    for (int i = 0; i < count; ++i) {
      select(i);
      must(data_write(customers()) == kDataDone, "write");
    }
  });
  std::printf("locked read %s,%d,%.3f\nwrite %s,%d,%.3f\n", when, count, lock, when, count, write);
}

#ifdef MARIGOLD_BENCH_SETS

void flush(const DataFile& file) {
  must(ISFLUSH(file.engine.descriptor) == 0, "flush");
}

// Five records: two customers and three articles.
void change_five(int start, const std::function<void(DataFile&)>& change) {
  for (int i = 0; i < 2; ++i) {
    select(start + i);
    change(customers());
  }
  for (int i = 0; i < 3; ++i) {
    data_put_text(articles(), "CODE", std::to_string((start + i) % kRecords));
    change(articles());
  }
}

double sets(int count) {
  return least_us(count, [&] {
    for (int i = 0; i < count; ++i) {
      changes_begin();
      change_five(i, changes_write);
      must(changes_commit(LockWait::kTell) == kDataDone, "commit");
    }
  });
}

double singly(int count, bool flush_each) {
  return least_us(count, [&] {
    for (int i = 0; i < count; ++i) {
      change_five(i, [&](DataFile& file) {
        must(data_write(file) == kDataDone, "write");
        if (flush_each) flush(file);
      });
      if (flush_each) continue;
      flush(customers());
      flush(articles());
    }
  });
}

// Another process that counts as the writer of a set in this file.
pid_t start_writer() {
  const pid_t child = fork();
  if (child != 0) return child;
  open_files();
  ChangeJournal journal("data/1");
  must(journal.open(true) == 0 && journal.become_writer() == 0, "journal");
  must(ismark(customers().engine.descriptor, true) == 0, "mark");
  for (;;)
    pause();
}

void measure_sets(int count) {
  const int all = std::max(count / 100, 1);
  const double set = sets(all);
  const double each = singly(all, true);
  const double together = singly(all, false);
  std::printf(
      "set of five,%d,%.1f\nfive with a flush each,%d,%.1f\nfive with two flushes,%d,%.1f\n", all,
      set, all, each, all, together);
  std::printf("ratio of five flushes to a set,,%.2f\n", each / set);
}

#endif

void run(int count) {
  open_files();
  for (int i = 0; i < kRecords; ++i) {
    select(i);
    data_put_text(articles(), "CODE", std::to_string(i));
    must(data_write(customers()) == 0 && data_write(articles()) == 0, "write");
  }
  std::puts("operation,n,us");
  lock_and_write("without a journal", count);
#ifdef MARIGOLD_BENCH_SETS
  measure_sets(count);
  lock_and_write("with a journal", count);
  data_close_all();
  const pid_t writer = start_writer();
  open_files();
  usleep(200'000);
  lock_and_write("beside a writer", count);
  kill(writer, SIGKILL);
  waitpid(writer, nullptr, 0);
#endif
  data_close_all();
}

int run_in_directory(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 20'000;
  must(count > 0, "N is at least 1");
  std::string directory = std::string(argc > 2 ? argv[2] : "/tmp") + "/change_set.XXXXXX";
  must(mkdtemp(directory.data()) != nullptr, "cannot make a directory");
  std::filesystem::current_path(directory);
  std::filesystem::copy_file(SAMPLE_SET, "FILESHOP.DES");
  setenv("DEFINITION_DIRECTORY", directory.c_str(), 1);
  settings_read();
  definition_set_load("SHOP");
  run(count);
  std::filesystem::current_path("/");
  std::filesystem::remove_all(directory);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  return marigold::inner::bench::run_in_directory(argc, argv);
}
