// SPDX-License-Identifier: GPL-3.0-or-later
// A set of slots: a bit each.
#pragma once

#include <cstdint>
#include <vector>

namespace marigold::inner::isam {

class SlotSet {
 public:
  explicit SlotSet(std::uint64_t slots) : words_(slots / 64 + 1) {}

  [[nodiscard]] bool has(std::uint64_t slot) const { return (words_[slot / 64] & bit(slot)) != 0; }
  void add(std::uint64_t slot) { words_[slot / 64] |= bit(slot); }
  void remove(std::uint64_t slot) { words_[slot / 64] &= ~bit(slot); }

 private:
  static std::uint64_t bit(std::uint64_t slot) { return std::uint64_t{1} << slot % 64; }

  std::vector<std::uint64_t> words_;
};

}  // namespace marigold::inner::isam
