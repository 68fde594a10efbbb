// SPDX-License-Identifier: GPL-3.0-or-later
// Memory of a process with an open keyed file, beyond the memory that the system caches.
//
//   isam_memory [N=1000000] [DIRECTORY]
//
// One process makes a file of N records with three keys; another opens it, walks it by each key,
// reads every record by its primary key, and prints the growth of its private memory.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/in_child.h"
#include "bench/isam_keys.h"
#include "bench/isam_workload.h"

namespace marigold::inner::bench {
namespace {

// Returns the private memory of this process that no file holds, in KiB.
long private_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("RssAnon:")) return std::atol(line.c_str() + 8);
  }
  return -1;
}

bool make(const std::string& base, std::uint64_t count) {
  const Workload workload(count);
  const int file = ISBUILD(base.c_str(), 128, key_of(0), kIsInputOutput | kIsExclusive);
  if (file < 0 || ISADDINDEX(file, key_of(1)) != 0 || ISADDINDEX(file, key_of(2)) != 0)
    return false;
  for (const Record& record : workload.records) {
    if (ISWRITE(file, record.bytes.data()) != 0) return false;
  }
  return ISCLOSE(file) == 0;
}

bool read_and_report(const std::string& base, std::uint64_t count) {
  const long before = private_memory();
  const int file = ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
  if (file < 0) return false;
  std::uint64_t read = 0;
  for (int key = 0; key < 3; ++key) {
    Record record;
    if (ISSTART(file, key_of(key), 0, record.bytes.data(), kIsFirst) != 0) return false;
    for (int mode = kIsFirst; ISREAD(file, record.bytes.data(), mode) == 0; mode = kIsNext)
      ++read;
  }
  Record any;
  if (ISSTART(file, key_of(0), 0, any.bytes.data(), kIsFirst) != 0) return false;
  for (unsigned long long i = 0; i < count; ++i, ++read) {
    Record record;
    std::snprintf(record.bytes.data(), record.bytes.size(), "%08llu", 2 * i);
    if (ISREAD(file, record.bytes.data(), kIsEqual) != 0) return false;
  }
  std::printf("%llu reads, private memory grown by %ld KiB\n",
              static_cast<unsigned long long>(read), private_memory() - before);
  return ISCLOSE(file) == 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  using namespace marigold::inner::bench;
  return in_own_directory("isam_memory", argc, argv,
                          [](const std::string& base, std::uint64_t count) {
                            return in_child([&] { return make(base, count); }) &&
                                   in_child([&] { return read_and_report(base, count); });
                          });
}
