// Many numbers edited by one mask. The characters of masks, and single numbers:
// marigold/core.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold {

// A mask whose places have been counted, for those who edit many numbers by it. Its text stays the
// caller's, and must live as long.
class NumberMask {
 public:
  NumberMask() = default;
  explicit NumberMask(std::string_view text);

  [[nodiscard]] std::string_view text() const { return text_; }
  // "##0,00" and 12.345 give " 12,35". Rounds the number's shortest decimal form half up, away from
  // zero: 2.675 to two places is 2,68, as on paper, though the nearest double lies below it.
  // `edited` has room for as many characters as the mask has. False when it shows "*".
  bool edit(double value, char* edited) const;

 private:
  // Longer masks than anyone needs are edited all the same, but not as quickly.
  static constexpr std::size_t kQuickSize = 32;
  static constexpr std::size_t kMostDigits = 19;  // of any 64-bit number

  void count_places();
  bool fill(double value, char* edited) const;
  bool fill_quickly(std::uint64_t number, char* edited) const;
  bool fill_exactly(double value, char* edited) const;

  std::string_view text_;
  std::size_t comma_ = 0;  // where it stands; the text's length when it has none
  std::size_t whole_places_ = 0;
  std::size_t fraction_places_ = 0;
  bool has_sign_ = false;
  // Of a text of up to kQuickSize characters:
  std::array<char, kQuickSize> zero_ = {};            // how 0 is shown
  std::array<std::uint8_t, kQuickSize> places_ = {};  // where digits stand, from the last one
  std::array<std::uint8_t, kQuickSize> points_ = {};  // blank in `zero_`, shown behind a digit
  std::size_t point_count_ = 0;
  std::uint64_t most_ = 0;  // as a whole number of the last place: what fits
};

}  // namespace marigold
