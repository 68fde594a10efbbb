// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "bench/growth_store.h"

namespace marigold::inner::bench {
namespace {

constexpr std::size_t kSlotSize = 144;  // the engine's, for 128 bytes
constexpr std::size_t kHeader = 16;
constexpr std::size_t kTogether = 4;  // as in runtime/isam/read.cc
constexpr std::size_t kAhead = 3 * kTogether;

std::uint64_t digest_of(const char* slot) {
  Record copy;
  std::memcpy(copy.bytes.data(), slot + kHeader, copy.bytes.size());
  // Forces the copy, as for a caller who keeps it.
  asm volatile("" : : "r"(copy.bytes.data()) : "memory");
  return digest(copy);
}

}  // namespace

BareMemory::BareMemory(const std::string& directory, const std::vector<Record>& records)
    : size_(records.size() * kSlotSize) {
  const int file = open((directory + "/slots").c_str(), O_RDWR | O_CREAT | O_EXCL, 0644);
  void* memory = MAP_FAILED;
  if (file >= 0 && ftruncate(file, static_cast<off_t>(size_)) == 0)
    memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED || close(file) != 0) {
    std::perror("isam_growth: bare memory");
    std::exit(1);
  }
  memory_ = static_cast<char*>(memory);
  for (std::size_t i = 0; i < records.size(); ++i)
    std::memcpy(memory_ + i * kSlotSize + kHeader, records[i].bytes.data(), sizeof(Record));
}

BareMemory::~BareMemory() {
  munmap(memory_, size_);
}

const char* BareMemory::slot(std::uint32_t place) const {
  return memory_ + place * kSlotSize;
}

void BareMemory::get(const std::vector<std::uint32_t>& places,
                     std::vector<std::uint64_t>& digests) const {
  std::uint32_t none = 0;
  asm volatile("" : "+r"(none));
  for (const std::uint32_t place : places) {
    const auto last = digests.empty() ? 0 : static_cast<std::uint32_t>(digests.back());
    digests.push_back(digest_of(slot(place + (last & none))));
  }
}

void BareMemory::scan(const std::vector<std::uint32_t>& places,
                      std::vector<std::uint64_t>& digests) const {
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (std::size_t next = i + kAhead;
         i % kTogether == 0 && next < std::min(i + kAhead + kTogether, places.size()); ++next) {
      for (std::size_t line = 0; line < kSlotSize; line += 64)
        __builtin_prefetch(slot(places[next]) + line);
    }
    digests.push_back(digest_of(slot(places[i])));
  }
}

}  // namespace marigold::inner::bench
