// SPDX-License-Identifier: GPL-3.0-or-later
// The counts of a modelled serial line, shared by the benchmark and the program at the line.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <atomic>

namespace marigold::inner::bench {

inline constexpr int kLineDescriptor = 77;  // of the shared memory, in the program
inline constexpr long kLineBuffer = 4096;   // bytes, of the driver

struct HeldKeyLine {
  std::atomic<long> written = 0;  // by the program
  std::atomic<long> sent = 0;     // by the line
  [[nodiscard]] long backlog() const { return std::max(0L, written - sent); }
};

// Returns null without the descriptor.
inline HeldKeyLine* map_line(int descriptor) {
  void* const shared =
      mmap(nullptr, sizeof(HeldKeyLine), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  return shared == MAP_FAILED ? nullptr : static_cast<HeldKeyLine*>(shared);
}

}  // namespace marigold::inner::bench
