// SPDX-License-Identifier: GPL-3.0-or-later
// Additional cost of an operation on a keyed file with ten times the records, in comparison with a
// store that keeps its records in the tree of the primary key, and with bare memory.
//
//   isam_growth [--store STORE] [--only OP] [N=1000000] [DIRECTORY] [TIMES=10]
//
// Prints CSV: store,op,n,ns_per_op,ratio,wall_ns; first for N records, then for TIMES * N (not if
// TIMES is 1), with the ratio of their cost to that for N. The cost is the processor's time, user
// and system, which does not grow when other programs use the machine; the elapsed time follows.
// The operations are those of isam_bench, with at most 500,000 replacements and deletions, but keys
// are used in their order in memory, and results are only summed up in the measured time.
// Afterwards the program compares the results, and at the end all records of the store, with a
// model. A wrong result ends the program with status 1.
//
// Stores: `isam`, the engine, alone on the file; `isam_shared`, only on request; `memory`, records
// at random places of a mapped file, fetched ahead (scan) or not (get): the lower bound for records
// in the order of their arrival; `lmdb` if it is installed, records in the tree of the primary key,
// a transaction for each change without a sync, one transaction for all reads of a turn. A
// DIRECTORY in memory (tmpfs) excludes the disk to which the system writes meanwhile. `--only` does
// only the insertion and this operation, for a profiler that counts within the function
// `timed_part`:
//
//   valgrind --tool=callgrind --cache-sim=yes --D1=32768,8,64 --LL=33554432,16,64
//     --toggle-collect='*timed_part*' isam_growth --store isam --only scan_primary 200000 /dev/shm
//     1

#include <getopt.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>

#include "bench/growth_model.h"
#include "bench/growth_store.h"

namespace marigold::inner::bench {

// A function of its own, which profilers find by its name.
[[gnu::noinline]] static void timed_part(const std::function<void()>& body) {
  body();
}

namespace {

struct Options {
  std::string store;  // empty: all but isam_shared
  std::string only;   // empty: all operations
  std::uint64_t count = 1'000'000;
  std::string directory;
  std::uint64_t times = 10;
};

using Digests = std::vector<std::uint64_t>;

[[noreturn]] void die(const std::string& what) {
  std::fprintf(stderr, "isam_growth: %s\n", what.c_str());
  std::exit(1);
}

double now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

class Run {
 public:
  Run(const Options& options, GrowthModel& model, std::map<std::string, double>& first)
      : options_(options), model_(model), first_(first), workload_(model.workload()) {
    digests_.assign(workload_.count, 0);  // its memory is in place before the measurement
  }

  void memory(const std::string& directory) {
    const BareMemory memory(directory, workload_.records);
    store_ = "memory";
    reads(
        "get", workload_.count, [&] { memory.get(workload_.gets, digests_); },
        [&] { return model_.gets_are_right(digests_); });
    const std::vector<std::uint32_t> places = model_.in_order();
    reads(
        "scan", workload_.count, [&] { memory.scan(places, digests_); },
        [&] { return model_.walk_is_right(0, digests_); });
  }

  void all(const char* name, GrowthStore& store) {
    store_ = name;
    timed("insert", workload_.count, [&] {
      for (const Record& record : workload_.records)
        store.insert(record);
    });
    gets(store);
    walk(store, "scan_primary", 0);
    walk(store, "scan_key2", 1);
    store.change();
    if (wanted("replace")) replace(store);
    if (wanted("delete")) erase(store);
    if (options_.only.empty()) check_all(store);
  }

 private:
  void gets(GrowthStore& store) {
    store.read_by(0);
    const auto get = [&](const Key8& key, bool there) {
      Record copy;
      if (store.get(key, copy) != there) die("a key that is there or not, against the model");
      if (there) digests_.push_back(digest(copy));
    };
    reads(
        "get_primary", workload_.count,
        [&] { std::ranges::for_each(model_.gets(), [&](const Key8& key) { get(key, true); }); },
        [&] { return model_.gets_are_right(digests_); });
    reads(
        "get_miss", workload_.misses.size(),
        [&] { std::ranges::for_each(workload_.misses, [&](const Key8& key) { get(key, false); }); },
        [] { return true; });
    store.read_by(1);
    reads(
        "get_key2", workload_.names.size(),
        [&] {
          for (const Key20& name : workload_.names) {
            Record copy;
            if (!store.get_by_name(name, copy)) die("a name is missing");
            digests_.push_back(digest(copy));
          }
        },
        [&] { return model_.names_are_right(digests_); });
  }

  void walk(GrowthStore& store, const char* op, int key) {
    store.read_by(key);
    reads(
        op, workload_.count, [&] { store.walk(digests_); },
        [&] { return model_.walk_is_right(key, digests_); });
  }

  void replace(GrowthStore& store) {
    timed("replace", workload_.replacements.size(), [&] {
      for (const Record& record : workload_.replacements)
        store.replace(record);
    });
    model_.replace_all();
  }

  void erase(GrowthStore& store) {
    timed("delete", workload_.deleted.size(), [&] {
      for (const Key8& key : model_.deletes())
        store.erase(key);
    });
    model_.delete_all();
  }

  void check_all(GrowthStore& store) {
    for (int key = 0; key < 3; ++key) {
      store.read_by(key);
      digests_.clear();
      store.walk(digests_);
      if (!model_.walk_is_right(key, digests_)) die(store_ + ": wrong after the changes");
    }
    store.change();
  }

  void reads(const char* op, std::uint64_t count, const std::function<void()>& body,
             const std::function<bool()>& is_right) {
    if (!wanted(op)) return;
    digests_.clear();
    timed(op, count, body);
    if (!is_right()) die(store_ + ": wrong in " + op);
  }

  void timed(const char* op, std::uint64_t count, const std::function<void()>& body) {
    if (!wanted(op)) return body();
    const double begin = now(CLOCK_MONOTONIC);
    const double used = now(CLOCK_PROCESS_CPUTIME_ID);
    timed_part(body);
    const double cost = (now(CLOCK_PROCESS_CPUTIME_ID) - used) / static_cast<double>(count);
    const double wall = (now(CLOCK_MONOTONIC) - begin) / static_cast<double>(count);
    const double before = first_.try_emplace(store_ + op, cost).first->second;
    std::printf("%s,%s,%llu,%.1f,%.2f,%.1f\n", store_.c_str(), op,
                static_cast<unsigned long long>(workload_.count), cost, cost / before, wall);
    std::fflush(stdout);
  }

  [[nodiscard]] bool wanted(const std::string& op) const {
    return options_.only.empty() || options_.only == op;
  }

  const Options& options_;
  GrowthModel& model_;
  std::map<std::string, double>& first_;  // cost of each operation with the fewer records
  const Workload& workload_;
  std::string store_;
  Digests digests_;
};

void measure(const Options& options, const std::string& directory, std::uint64_t count,
             std::map<std::string, double>& first) {
  GrowthModel model(count);
  Run run(options, model, first);
  const auto with = [&](const std::string& store, const std::function<void()>& body) {
    if (options.store.empty() ? store == "isam_shared" : store != options.store) return;
    std::filesystem::create_directory(directory);
    model.reset();
    body();
    std::filesystem::remove_all(directory);
  };
  with("isam", [&] { run.all("isam", *make_engine_growth(directory, false)); });
  with("isam_shared", [&] { run.all("isam_shared", *make_engine_growth(directory, true)); });
  with("memory", [&] { run.memory(directory); });
#ifdef MARIGOLD_BENCH_LMDB
  with("lmdb", [&] { run.all("lmdb", *make_lmdb_growth(directory)); });
#endif
}

Options options_from(int argc, char** argv) {
  constexpr option kLong[] = {
      {"store", required_argument, nullptr, 's'}, {"only", required_argument, nullptr, 'o'}, {}};
  Options options;
  for (int found = 0; (found = getopt_long(argc, argv, "", kLong, nullptr)) != -1;) {
    if (found == '?') std::exit(1);
    (found == 's' ? options.store : options.only) = optarg;
  }
  if (optind < argc) options.count = std::strtoull(argv[optind++], nullptr, 10);
  options.directory = optind < argc ? argv[optind++] : std::filesystem::temp_directory_path();
  if (optind < argc) options.times = std::strtoull(argv[optind++], nullptr, 10);
  if (options.count < 4 || options.times < 1 || options.count > 40'000'000 / options.times)
    die("N must be at least 4, N * TIMES at most 40000000");
  return options;
}

int run(int argc, char** argv) {
  const Options options = options_from(argc, argv);
  std::string directory = options.directory + "/isam_growth.XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) die("cannot make a directory in " + options.directory);
  std::map<std::string, double> first;
  std::puts("store,op,n,ns_per_op,ratio,wall_ns");
  measure(options, directory + "/store", options.count, first);
  if (options.times > 1)
    measure(options, directory + "/store", options.count * options.times, first);
  std::filesystem::remove_all(directory);
  if (first.empty()) die("no such store or operation");
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  return marigold::inner::bench::run(argc, argv);
}
