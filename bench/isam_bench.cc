// SPDX-License-Identifier: GPL-3.0-or-later
// The keyed-file engine under the workload of isam_workload.h.
//
//   isam_bench [N=200000] [DIRECTORY]
//
// Prints CSV: store,mode,op,n,seconds,ops_per_s,file_bytes,checksum,cpu_seconds. `exclusive`: one
// process has the file open alone; `shared`: every call is visible to other processes when it
// returns. After each group of writes the program walks all three keys and compares them with a
// model in memory, outside the measured time. A wrong result ends the program with status 1.

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <system_error>
#include <unordered_set>

#include "bench/isam_keys.h"
#include "bench/isam_workload.h"

namespace marigold::inner::bench {
namespace {

[[noreturn]] void die(const std::string& what) {
  std::fprintf(stderr, "isam_bench: %s (iserrno %d)\n", what.c_str(), iserrno);
  std::exit(1);
}

void must(int result, const char* what) {
  if (result != 0) die(what);
}

double seconds_of(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double wall_now() {
  return seconds_of(CLOCK_MONOTONIC);
}

double cpu_now() {
  return seconds_of(CLOCK_PROCESS_CPUTIME_ID);
}

class Run {
 public:
  Run(const Workload& workload, std::string directory, bool shared)
      : workload_(workload),
        directory_(std::move(directory)),
        mode_(shared ? "shared" : "exclusive"),
        shared_(shared),
        model_(workload.records),
        live_(workload.count, true) {
    delivered_.reserve(workload.count);
  }

  void all() {
    open();
    write_group(
        "insert", workload_.count, [&](std::uint64_t i) { insert(workload_.records[i]); }, [] {});
    reads();
    const std::uint64_t quarter = workload_.count / 4;
    write_group(
        "replace", quarter, [&](std::uint64_t i) { replace(workload_.replacements[i]); },
        [&] {
          for (std::uint64_t i = 0; i < quarter; ++i) {
            auto& bytes = model_[workload_.replaced[i]].bytes;
            std::copy_n(workload_.replacements[i].bytes.begin() + 8, 24, bytes.begin() + 8);
          }
        });
    write_group(
        "delete", quarter, [&](std::uint64_t i) { erase(workload_.records[workload_.deleted[i]]); },
        [&] {
          for (const std::uint32_t number : workload_.deleted)
            live_[number] = false;
        });
    timed(
        "close_sync", 1, [&] { must(ISCLOSE(file_), "close"); }, [] { return std::uint64_t{0}; });
  }

 private:
  // ---- The measured operations

  void open() {
    const std::string base = directory_ + "/" + mode_;
    file_ = ISBUILD(base.c_str(), 128, key_of(0), kIsInputOutput | kIsExclusive);
    if (file_ < 0) die("build");
    must(ISADDINDEX(file_, key_of(1)), "add key 2");
    must(ISADDINDEX(file_, key_of(2)), "add key 3");
    if (!shared_) return;
    must(ISCLOSE(file_), "close");
    file_ = ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
    if (file_ < 0) die("open");
  }

  void insert(const Record& record) { must(ISWRITE(file_, record.bytes.data()), "write"); }
  void erase(const Record& record) { must(ISDELETE(file_, record.bytes.data()), "delete"); }
  void replace(const Record& record) {
    erase(record);
    insert(record);
  }

  void select(int key) {
    Record any;
    must(ISSTART(file_, key_of(key), 0, any.bytes.data(), kIsFirst), "select a key");
  }

  bool get(Record& record) {
    if (ISREAD(file_, record.bytes.data(), kIsEqual) == 0) return true;
    if (iserrno != kIsNoRecord) die("read");
    return false;
  }

  void walk(int key) {
    select(key);
    Record record;
    for (int mode = kIsFirst; ISREAD(file_, record.bytes.data(), mode) == 0; mode = kIsNext) {
      delivered_.push_back(hash(record));
    }
    if (iserrno != kIsEndOfFile) die("walk");
  }

  void reads() {
    const std::uint64_t quarter = workload_.count / 4;
    select(0);
    timed(
        "get_primary", workload_.count,
        [&] {
          Record record;
          for (const std::uint32_t number : workload_.gets) {
            std::copy_n(workload_.records[number].bytes.begin(), 8, record.bytes.begin());
            if (!get(record)) die("a record is missing");
            delivered_.push_back(hash(record));
          }
        },
        [&] { return check_gets(); });
    timed(
        "get_miss", quarter,
        [&] {
          Record record;
          for (const Key8& key : workload_.misses) {
            std::copy_n(key.begin(), 8, record.bytes.begin());
            if (get(record)) die("found what is not there");
          }
        },
        [] { return std::uint64_t{0}; });
    select(1);
    std::uint64_t names = 0;
    timed(
        "get_key2", quarter,
        [&] {
          Record record;
          for (const Key20& name : workload_.names) {
            std::copy_n(name.begin(), 20, record.bytes.begin() + 8);
            if (!get(record) || !std::equal(name.begin(), name.end(), record.bytes.begin() + 8))
              die("wrong name");
            delivered_.push_back(hash(record));
            names += hash_name(record);
          }
        },
        [&] {
          check_known();
          return names;
        });
    timed_walk("scan_primary", 0);
    timed_walk("scan_key2", 1);
    // The engine holds nothing between calls; the rows exist for comparison with stores that do.
    if (shared_) timed_walk("step_primary", 0);
    if (shared_) timed_walk("step_key2", 1);
  }

  // ---- Measurement and checks

  void timed(const char* name, std::uint64_t n, const std::function<void()>& body,
             const std::function<std::uint64_t()>& check) {
    delivered_.clear();
    const double cpu = cpu_now();
    const double wall = wall_now();
    body();
    const double seconds = wall_now() - wall;
    const double cpu_seconds = cpu_now() - cpu;
    const std::uint64_t bytes = file_bytes();
    std::printf("isam,%s,%s,%llu,%.6f,%.0f,%llu,%016llx,%.3f\n", mode_.c_str(), name,
                static_cast<unsigned long long>(n), seconds, static_cast<double>(n) / seconds,
                static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(check()),
                cpu_seconds);
    std::fflush(stdout);
  }

  void timed_walk(const char* name, int key) {
    timed(
        name, workload_.count, [&] { walk(key); }, [&] { return check_walk(key); });
  }

  void write_group(const char* name, std::uint64_t n, const std::function<void(std::uint64_t)>& one,
                   const std::function<void()>& change_model) {
    timed(
        name, n,
        [&] {
          for (std::uint64_t i = 0; i < n; ++i)
            one(i);
        },
        [&] {
          change_model();
          std::uint64_t sum = 0;
          for (int key = 0; key < 3; ++key) {
            delivered_.clear();
            walk(key);
            sum = check_walk(key);
          }
          return sum;
        });
  }

  [[nodiscard]] std::uint64_t sum_delivered() const {
    std::uint64_t sum = 0;
    for (const std::uint64_t value : delivered_)
      sum += value;
    return sum;
  }

  std::uint64_t check_gets() {
    for (std::size_t i = 0; i < workload_.gets.size(); ++i) {
      if (delivered_[i] != hash(model_[workload_.gets[i]])) die("wrong record");
    }
    return sum_delivered();
  }

  void check_known() {
    std::unordered_set<std::uint64_t> known;
    for (const Record& record : model_)
      known.insert(hash(record));
    for (const std::uint64_t value : delivered_) {
      if (!known.contains(value)) die("no such record");
    }
  }

  // Every record must occur once, in the order of the key, equal keys in any order.
  std::uint64_t check_walk(int key) {
    std::vector<std::pair<std::string, std::uint64_t>> expected;
    for (std::uint64_t i = 0; i < workload_.count; ++i) {
      if (live_[i]) expected.emplace_back(model_[i].key(key), hash(model_[i]));
    }
    std::ranges::sort(expected);
    const std::uint64_t sum = sum_delivered();
    if (expected.size() != delivered_.size()) die("wrong number of records");
    for (std::size_t first = 0, last = 0; first < expected.size(); first = last) {
      while (last < expected.size() && expected[last].first == expected[first].first)
        ++last;
      std::sort(delivered_.begin() + static_cast<std::ptrdiff_t>(first),
                delivered_.begin() + static_cast<std::ptrdiff_t>(last));
      for (std::size_t i = first; i < last; ++i) {
        if (delivered_[i] != expected[i].second) die("wrong record or order");
      }
    }
    return sum;
  }

  [[nodiscard]] std::uint64_t file_bytes() const {
    std::uint64_t bytes = 0;
    for (const char* suffix : {".dat", ".idx"})
      bytes += std::filesystem::file_size(directory_ + "/" + mode_ + suffix);
    return bytes;
  }

  const Workload& workload_;
  std::string directory_;
  std::string mode_;
  bool shared_;
  std::vector<Record> model_;
  std::vector<bool> live_;
  std::vector<std::uint64_t> delivered_;  // hashes, in the order of the results
  int file_ = -1;
};

int run(int argc, char** argv) {
  const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200'000;
  if (count < 4 || count > 50'000'000) die("N must be 4 to 50000000");
  const std::string parent = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
  const std::string directory = parent + "/isam_bench." + std::to_string(std::random_device{}());
  std::error_code error;
  if (!std::filesystem::create_directory(directory, error))
    die("cannot make a directory in " + parent);
  const Workload workload(count);
  std::puts("store,mode,op,n,seconds,ops_per_s,file_bytes,checksum,cpu_seconds");
  for (const bool shared : {false, true})
    Run(workload, directory, shared).all();
  std::filesystem::remove_all(directory);
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  return marigold::inner::bench::run(argc, argv);
}
