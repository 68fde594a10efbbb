// SPDX-License-Identifier: GPL-3.0-or-later
// One process in comparison with two on one file: their joint throughput, and the longest wait of
// one.
//
//   isam_processes [N=200000] [DIRECTORY] [SECONDS=2]
//
// Prints CSV: store,work,processes,ops_per_s,ratio,worst_us. Works: `read` by the primary key,
// `replace`, and `flush`, which replaces and flushes; by two processes `together` on one file, and
// `apart` on two files, which shows the effect of shared cores, caches and memory. The ratio is
// that of both to one alone; `less` is the throughput of the slower of the two. `beside_flusher`:
// throughput of a process that replaces beside one that flushes after each of its replacements; its
// ratio is that to being alone, and the worst is its longest operation. Stores: the engine, and
// LMDB if it is installed.

#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <vector>

#include "bench/isam_keys.h"
#include "bench/store_of_processes.h"

namespace marigold::inner::bench {
namespace {

[[noreturn]] void die(const char* what) {
  std::fprintf(stderr, "isam_processes: %s (iserrno %d)\n", what, iserrno);
  std::exit(1);
}

class EngineStore : public StoreOfProcesses {
 public:
  explicit EngineStore(const std::string& directory) {
    number_ = ISOPEN((directory + "/file").c_str(), kIsInputOutput | kIsManualLock);
    if (number_ < 0) die("open");
  }
  ~EngineStore() override { ISCLOSE(number_); }
  EngineStore(const EngineStore&) = delete;
  EngineStore& operator=(const EngineStore&) = delete;

  void read(const Record& record) override {
    Record copy = record;
    if (ISREAD(number_, copy.bytes.data(), kIsEqual) != 0) die("read");
  }
  void replace(const Record& record) override {
    if (ISREPLACE(number_, record.bytes.data()) != 0) die("replace");
  }
  void flush() override {
    if (ISFLUSH(number_) != 0) die("flush");
  }

 private:
  int number_ = -1;
};

struct Kind {
  const char* name;
  void (*make)(const std::string& directory, const Workload& workload);
  std::unique_ptr<StoreOfProcesses> (*open)(const std::string& directory);
};

constexpr Kind kKinds[] = {{"isam", make_engine_store, open_engine_store},
#ifdef MARIGOLD_BENCH_LMDB
                           {"lmdb", make_lmdb_store, open_lmdb_store}
#endif
};

enum class Work { kRead, kReplace, kReplaceAndFlush };

double now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Shared by the processes of one measurement.
struct Meeting {
  std::atomic<int> ready = 0;
  std::atomic<bool> go = false;
  std::atomic<bool> stop = false;
};

struct Done {
  double operations_per_second = 0;
  double worst_seconds = 0;
};

template <typename T>
T* shared_memory(std::size_t count) {
  void* memory =
      mmap(nullptr, count * sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) die("memory");
  return new (memory) T[count];
}

void step(StoreOfProcesses& store, Work work, const Record& record) {
  if (work == Work::kRead) return store.read(record);
  store.replace(record);
  if (work == Work::kReplaceAndFlush) store.flush();
}

// Goes through the records; each process begins at a place of its own.
void work_until_stopped(StoreOfProcesses& store, Work work, const Workload& workload, int process,
                        Meeting& meeting, Done& done) {
  const std::size_t first = workload.gets.size() / 2 * static_cast<std::size_t>(process);
  std::size_t count = 0;
  ++meeting.ready;
  while (!meeting.go)
    sched_yield();
  const double begin = now();
  double before = begin;
  double worst = 0;
  for (; !meeting.stop; ++count) {
    const std::uint32_t number = workload.gets[(first + count) % workload.gets.size()];
    step(store, work, workload.records[number]);
    if (work == Work::kRead) continue;
    const double after = now();
    worst = std::max(worst, after - before);
    before = after;
  }
  done = {static_cast<double>(count) / (now() - begin), worst};
}

struct Task {
  std::string directory;
  Work work;
};

std::vector<Done> run(const Kind& kind, const std::vector<Task>& tasks, const Workload& workload,
                      double seconds) {
  auto* meeting = shared_memory<Meeting>(1);
  auto* done = shared_memory<Done>(tasks.size());
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    if (fork() != 0) continue;
    const auto store = kind.open(tasks[i].directory);
    work_until_stopped(*store, tasks[i].work, workload, static_cast<int>(i), *meeting, done[i]);
    _exit(0);
  }
  while (meeting->ready < static_cast<int>(tasks.size()))
    usleep(1000);
  meeting->go = true;
  usleep(static_cast<useconds_t>(seconds * 1e6));
  meeting->stop = true;
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    int status = 0;
    if (wait(&status) < 0 || status != 0) die("a process failed");
  }
  return {done, done + tasks.size()};
}

void print(const Kind& kind, const char* work, std::size_t processes, double rate, double ratio,
           double worst) {
  std::printf("%s,%s,%zu,%.0f,%.2f,%.0f\n", kind.name, work, processes, rate, ratio, worst * 1e6);
  std::fflush(stdout);
}

void measure(const Kind& kind, const std::string& directory, const Workload& workload,
             double seconds) {
  const std::string here = directory + "/" + kind.name;
  const std::string there = here + "_2";
  for (const std::string& place : {here, there}) {
    std::filesystem::remove_all(place);
    std::filesystem::create_directories(place);
    kind.make(place, workload);
  }
  const struct {
    const char* name;
    Work work;
  } works[] = {
      {"read", Work::kRead}, {"flush", Work::kReplaceAndFlush}, {"replace", Work::kReplace}};
  double alone = 0;
  for (const auto& [name, work] : works) {
    const Done one = run(kind, {{here, work}}, workload, seconds).front();
    alone = one.operations_per_second;
    print(kind, name, 1, alone, 1, one.worst_seconds);
    for (const std::string& second : {here, there}) {
      const auto both = run(kind, {{here, work}, {second, work}}, workload, seconds);
      const double rate = both[0].operations_per_second + both[1].operations_per_second;
      const std::string row = name + std::string(second == here ? "_together" : "_apart");
      print(kind, row.c_str(), 2, rate, rate / alone,
            std::max(both[0].worst_seconds, both[1].worst_seconds));
      const Done& less = std::ranges::min(both, {}, &Done::operations_per_second);
      print(kind, (row + "_less").c_str(), 1, less.operations_per_second,
            less.operations_per_second / alone, less.worst_seconds);
    }
  }
  const auto beside =
      run(kind, {{here, Work::kReplace}, {here, Work::kReplaceAndFlush}}, workload, seconds);
  print(kind, "beside_flusher", 2, beside[0].operations_per_second,
        beside[0].operations_per_second / alone, beside[0].worst_seconds);
  std::filesystem::remove_all(here);
  std::filesystem::remove_all(there);
}

}  // namespace

void make_engine_store(const std::string& directory, const Workload& workload) {
  const std::string base = directory + "/file";
  const int number = ISBUILD(base.c_str(), 128, key_of(0), kIsInputOutput | kIsExclusive);
  if (number < 0) die("build");
  for (const Record& record : workload.records) {
    if (ISWRITE(number, record.bytes.data()) != 0) die("write");
  }
  if (ISCLOSE(number) != 0) die("close");
}

std::unique_ptr<StoreOfProcesses> open_engine_store(const std::string& directory) {
  return std::make_unique<EngineStore>(directory);
}

}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  using namespace marigold::inner::bench;
  const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200'000;
  const std::string directory = argc > 2 ? argv[2] : ".";
  const double seconds = argc > 3 ? std::strtod(argv[3], nullptr) : 2;
  const Workload workload(count);
  std::printf("store,work,processes,ops_per_s,ratio,worst_us\n");
  for (const Kind& kind : kKinds)
    measure(kind, directory, workload, seconds);
}
