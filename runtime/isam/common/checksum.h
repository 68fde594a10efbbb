// SPDX-License-Identifier: GPL-3.0-or-later
// Checksums of pages, records and headers: 32 bits that show damage. They are no protection against
// forgers.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace marigold::inner::isam {

// Four lanes of 8 bytes each: the engine computes the checksum of every record and page it reads,
// and a single lane would wait for its multiplier. Each step can be inverted, so a change of a
// single word always changes its lane.
inline std::uint64_t long_checksum(std::span<const std::byte> bytes, std::uint64_t seed = 0) {
  constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
  struct Block {
    std::uint64_t a, b, c, d;
  };
  const auto mix = [](std::uint64_t lane, std::uint64_t word) {
    return std::rotl(lane ^ word, 29) * kMultiplier;
  };
  Block lanes{seed, seed + 1, seed + 2, bytes.size()};
  const auto take = [&](std::size_t length) {
    Block words{};
    std::memcpy(&words, bytes.data(), length);
    lanes = {mix(lanes.a, words.a), mix(lanes.b, words.b), mix(lanes.c, words.c),
             mix(lanes.d, words.d)};
    bytes = bytes.subspan(length);
  };
  while (bytes.size() >= sizeof(Block))
    take(sizeof(Block));
  if (!bytes.empty()) take(bytes.size());
  return mix(mix(lanes.a, lanes.b ^ (lanes.a >> 31)), mix(lanes.c, lanes.d ^ (lanes.c >> 31)));
}

// Returns the upper half, which the files hold.
inline std::uint32_t checksum(std::span<const std::byte> bytes, std::uint64_t seed = 0) {
  return static_cast<std::uint32_t>(long_checksum(bytes, seed) >> 32);
}

}  // namespace marigold::inner::isam
