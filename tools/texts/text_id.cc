// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/text_id.h"

#include <charconv>
#include <tuple>

#include "runtime/texte/sysmsg.h"
#include "tools/common/report.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kMostDigits = 9;

// Returns the place of a system text in the catalogue, from 1; a place after the last one for an
// unknown key; 0 for a text of the program.
std::size_t catalogue_place(std::string_view id) {
  if (!id.starts_with(kSystemPrefix)) return 0;
  const auto entries = sysmsg_entries();
  const CatalogueEntry* entry = sysmsg_entry(id.substr(kSystemPrefix.size()));
  if (entry == nullptr) return entries.size() + 1;
  return static_cast<std::size_t>(entry - entries.data()) + 1;
}

auto listing_key(std::string_view id) {
  const auto [chain, number] = chain_place(id).value_or(ChainPlace{id, 0});
  return std::tuple(catalogue_place(id), chain, number);
}

}  // namespace

std::optional<ChainPlace> chain_place(std::string_view id) {
  const std::size_t plus = id.rfind('+');
  if (plus == std::string_view::npos) return std::nullopt;
  const std::string_view chain = id.substr(0, plus + 1);
  const std::string_view digits = id.substr(plus + 1);
  if (digits.empty()) return ChainPlace{chain, 0};
  if (digits.size() > kMostDigits || digits.front() == '0') return std::nullopt;
  unsigned number = 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool whole = parsed.ec == std::errc{} && parsed.ptr == digits.data() + digits.size();
  return whole ? std::optional(ChainPlace{chain, number}) : std::nullopt;
}

std::string describe_length(std::string_view what, std::size_t bytes) {
  return std::string(what) + " has " + counted(bytes, "byte") + ", more than " +
         std::to_string(kLongestText);
}

bool listed_before(std::string_view id, std::string_view other) {
  return listing_key(id) < listing_key(other);
}

}  // namespace marigold::inner
