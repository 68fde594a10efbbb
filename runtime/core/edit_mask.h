// SPDX-License-Identifier: GPL-3.0-or-later
// Many numbers edited by one mask. The characters of masks, and single numbers:
// marigold/core.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold::inner {

// A mask with its places counted, to edit many numbers by it. The caller keeps the mask's text
// alive.
class NumberMask {
 public:
  NumberMask() = default;
  explicit NumberMask(std::string_view text);

  [[nodiscard]] std::string_view text() const { return text_; }
  // Edits a number: "##0,00" and 12.345 give " 12,35". Rounds the number's shortest decimal form
  // half away from zero: 2.675 to two places is 2,68, as on paper, though the nearest double lies
  // below 2.675. `edited` has room for as many characters as the mask. Returns false if it shows
  // "*".
  bool edit(double value, char* edited) const;

 private:
  // A longer mask works as well, but not as quickly.
  static constexpr std::size_t kQuickSize = 32;
  static constexpr std::size_t kMostDigits = 19;  // of any 64-bit number

  void count_places();
  bool fill(double value, char* edited) const;
  bool fill_quickly(std::uint64_t number, char* edited) const;
  bool fill_exactly(double value, char* edited) const;

  std::string_view text_;
  std::size_t comma_ = 0;  // its index; the text's length without a comma
  std::size_t whole_places_ = 0;
  std::size_t fraction_places_ = 0;
  bool has_sign_ = false;
  // Of a text of up to kQuickSize characters:
  std::array<char, kQuickSize> zero_ = {};            // the text of 0
  std::array<std::uint8_t, kQuickSize> places_ = {};  // indexes of the digits, from the last one
  std::array<std::uint8_t, kQuickSize> points_ = {};  // blank in `zero_`, shown after a digit
  std::size_t point_count_ = 0;
  std::uint64_t most_ = 0;  // the greatest number that fits, in units of the last place
};

}  // namespace marigold::inner
