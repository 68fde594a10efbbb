// SPDX-License-Identifier: GPL-3.0-or-later
// Ids of texts: chains, system texts, and their order in lists.
//
// The texts "A+", "A+1", "A+2" and so on are a chain: the command writes them one after the other
// for the id "A+". Ids with the prefix "SYSDEF." are the runtime's own texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace marigold::inner {

inline constexpr std::string_view kSystemPrefix = "SYSDEF.";

// Greatest length of a text or id: programs have buffers for so many bytes and a zero byte.
inline constexpr std::size_t kLongestText = 250;

// Returns the message about an id or text that is longer; `what` is "the id" or "the text".
std::string describe_length(std::string_view what, std::size_t bytes);

struct ChainPlace {
  std::string_view chain;  // the id of its first text, "+" included
  unsigned number = 0;     // 0 for the first text
};

// Returns the place of an id in a chain, or nothing. Its number is in the form that the command
// writes, without leading zeros.
std::optional<ChainPlace> chain_place(std::string_view id);

// Order for human readers: the program's own texts by id, those of a chain by number; then the
// system texts in the order of the catalogue.
bool listed_before(std::string_view id, std::string_view other);

}  // namespace marigold::inner
