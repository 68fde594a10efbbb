// SPDX-License-Identifier: GPL-3.0-or-later
// Letters that count as equal when a user types one to find a text.
#pragma once

#include <array>
#include <cstddef>

namespace marigold::inner {

// Treats large and small letters of ISO 8859-1 as equal, and umlauts typed on the keyboard as equal
// to those of the national 7-bit set: there "[", "\\" and "]" are the large umlauts, "{", "|" and
// "}" the small ones, and "~" is the sharp s.
constexpr std::array<char, 256> make_folded_letters() {
  constexpr std::size_t kMultiplicationSign = 0xD7;
  std::array<char, 256> folded{};
  for (std::size_t c = 0; c < folded.size(); ++c) {
    const bool large =
        (c >= 'A' && c <= ']') || (c >= 0xC0 && c <= 0xDE && c != kMultiplicationSign);
    folded[c] = static_cast<char>(large ? c + ('a' - 'A') : c);
  }
  folded[0xC4] = folded[0xE4] = '{';
  folded[0xD6] = folded[0xF6] = '|';
  folded[0xDC] = folded[0xFC] = '}';
  folded[0xDF] = '~';
  return folded;
}
inline constexpr std::array<char, 256> kFoldedLetters = make_folded_letters();

inline char fold_letter(char c) {
  return kFoldedLetters[static_cast<unsigned char>(c)];
}

}  // namespace marigold::inner
