// SPDX-License-Identifier: GPL-3.0-or-later
// The workload for comparisons of keyed-file stores: records of 128 bytes with three keys, from a
// generator that any other program can repeat.
//
// Record: 0-7 primary key, decimal digits; 8-27 second key, 12 letters and 8 blanks; 28-31 third
// key, a signed big-endian number; 32-127 filler. Generator: splitmix64, a stream of its own for
// each purpose.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace marigold::inner::bench {

struct Record {
  std::array<char, 128> bytes{};
  [[nodiscard]] std::string key(int number) const;  // 0 to 2, bytes in comparison order
};

using Key8 = std::array<char, 8>;
using Key20 = std::array<char, 20>;

struct Workload {
  explicit Workload(std::uint64_t count);

  std::uint64_t count;
  std::vector<Record> records;  // in the order of insertion
  std::vector<std::uint32_t> gets;
  std::vector<Key8> misses;
  std::vector<Key20> names;
  std::vector<std::uint32_t> replaced;
  std::vector<Record> replacements;
  std::vector<std::uint32_t> deleted;
};

std::uint64_t hash(const Record& record);

// Hash of the second key alone: stores may return records with one name in any order.
std::uint64_t hash_name(const Record& record);

}  // namespace marigold::inner::bench
