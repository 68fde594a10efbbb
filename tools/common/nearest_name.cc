// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/nearest_name.h"

#include <algorithm>
#include <vector>

namespace marigold::inner {
namespace {

// Returns the least number of slips that turn one word into the other.
std::size_t slips_between(std::string_view from, std::string_view to) {
  std::vector<std::vector<std::size_t>> least(from.size() + 1,
                                              std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      std::size_t& slips = least[i][j];
      if (i == 0 || j == 0) {
        slips = i + j;
        continue;
      }
      const std::size_t wrong = from[i - 1] == to[j - 1] ? 0 : 1;
      slips = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, least[i - 1][j - 1] + wrong});
      const bool exchanged = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (exchanged) slips = std::min(slips, least[i - 2][j - 2] + 1);
    }
  }
  return least[from.size()][to.size()];
}

}  // namespace

std::string nearest_name(std::string_view word, std::span<const std::string> names) {
  constexpr std::size_t kMostSlips = 3;
  constexpr std::size_t kLettersASlip = 3;
  std::string nearest;
  std::size_t fewest = kMostSlips + 1;
  for (const std::string& name : names) {
    const std::size_t bound = (std::max(word.size(), name.size()) + 1) / kLettersASlip;
    const std::size_t slips = slips_between(word, name);
    if (slips > bound || slips >= fewest) continue;
    fewest = slips;
    nearest = name;
  }
  return nearest;
}

}  // namespace marigold::inner
