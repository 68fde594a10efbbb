// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of opening a keyed file after a power loss, which rebuilds its indexes from its records.
//
//   isam_rebuild [N=1000000] [DIRECTORY]
//
// One process makes a file of N records with three keys. Then, with the system's cache warm and
// without it, the index gets the mark that demands a rebuild, and a process opens the file. Prints
// the seconds, the processors' seconds, and the greatest memory of the process, pages of mapped
// files included; the same with closing.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/in_child.h"
#include "bench/isam_keys.h"
#include "bench/isam_workload.h"
#include "runtime/isam/local/layout.h"

namespace marigold::inner::bench {
namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Returns the time of all processors, in seconds.
double processor_time() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Returns the greatest memory of this process so far, in MiB.
double peak_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::atof(line.c_str() + 6) / 1024;
  }
  return -1;
}

bool make(const std::string& base, std::uint64_t count) {
  const Workload workload(count);
  const int file = ISBUILD(base.c_str(), 128, key_of(0), kIsInputOutput | kIsExclusive);
  if (file < 0) return false;
  for (const Record& record : workload.records) {
    if (ISWRITE(file, record.bytes.data()) != 0) return false;
  }
  if (ISADDINDEX(file, key_of(1)) != 0 || ISADDINDEX(file, key_of(2)) != 0) return false;
  return ISCLOSE(file) == 0;
}

// Changes the index so that the next opening must rebuild it, as after a power loss.
bool lose_power(const std::string& base) {
  isam::IndexHeader header;
  std::fstream index(base + ".idx", std::ios::in | std::ios::out | std::ios::binary);
  index.read(reinterpret_cast<char*>(&header), sizeof header);
  header.state = isam::kStateRebuild;
  index.seekp(0).write(reinterpret_cast<const char*>(&header), sizeof header);
  return index.flush().good();
}

bool leave_cache(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  const bool left =
      file >= 0 && fsync(file) == 0 && posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0;
  return file >= 0 && close(file) == 0 && left;
}

bool open_and_report(const std::string& base, std::uint64_t count, const char* how) {
  const Clock::time_point start = Clock::now();
  const int file = ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
  const double opened = seconds_since(start);
  const double worked = processor_time();
  const double memory = peak_memory();
  if (file < 0 || iscount(file) != static_cast<std::int64_t>(count)) return false;
  if (ISCLOSE(file) != 0) return false;
  std::printf(
      "%s: opened in %.2f s (processors %.2f) with %.0f MiB, closed after %.2f s with %.0f\n", how,
      opened, worked, memory, seconds_since(start), peak_memory());
  return true;
}

bool measure(const std::string& base, std::uint64_t count) {
  if (!in_child([&] { return make(base, count); })) return false;
  if (!lose_power(base)) return false;
  if (!in_child([&] { return open_and_report(base, count, "warm"); })) return false;
  if (!lose_power(base) || !leave_cache(base + ".idx") || !leave_cache(base + ".dat")) return false;
  if (!in_child([&] { return open_and_report(base, count, "cold"); })) return false;
  std::printf("data %ju, index %ju bytes\n", std::filesystem::file_size(base + ".dat"),
              std::filesystem::file_size(base + ".idx"));
  return true;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  using namespace marigold::inner::bench;
  return in_own_directory("isam_rebuild", argc, argv, measure);
}
