// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "runtime/core/edit_mask.h"

namespace marigold::inner {
namespace {

NumberText by_mask(std::string_view mask, double number) {
  NumberText result{.text = std::string(mask.size(), ' ')};
  result.fits = NumberMask(mask).edit(number, result.text.data());
  return result;
}

}  // namespace

NumberText number_text(std::string_view mask, double number) {
  if (!mask.empty()) return by_mask(mask, number);
  constexpr double kLargestWhole = 9007199254740992;  // 2 to the 53rd: all below are exact
  constexpr int kDigits = 15;                         // decimal digits that a double keeps
  const bool whole = std::abs(number) <= kLargestWhole && std::trunc(number) == number;
  std::array<char, 32> form{};
  char* const begin = form.data();
  char* const last = begin + form.size();
  char* const end =
      whole ? std::to_chars(begin, last, number, std::chars_format::fixed).ptr
            : std::to_chars(begin, last, number, std::chars_format::general, kDigits).ptr;
  std::replace(begin, end, '.', ',');
  return {.text = {begin, end}};
}

}  // namespace marigold::inner
