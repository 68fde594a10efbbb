// SPDX-License-Identifier: GPL-3.0-or-later
// Ids of texts: chains, system texts, and the order in which they are listed.
//
// The texts "A+", "A+1", "A+2" and so on are a chain: the command writes them one after the other
// when it is asked for "A+". Ids with the prefix "SYSDEF." are the runtime's own texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace marigold {

inline constexpr std::string_view kSystemPrefix = "SYSDEF.";

// Texts and ids are held by programs in buffers for so many bytes and a zero byte.
inline constexpr std::size_t kLongestText = 250;

// For a message about one that is longer; `what` is "the id" or "the text".
std::string describe_length(std::string_view what, std::size_t bytes);

struct ChainPlace {
  std::string_view chain;  // the id of its first text, "+" included
  unsigned number = 0;     // 0 for the first text
};

// The place of an id in a chain, or nothing. A number is written as the command writes it, without
// leading zeros.
std::optional<ChainPlace> chain_place(std::string_view id);

// The order for human eyes: the program's own texts by id, those of a chain by number; then the
// system texts in the order of the catalogue.
bool listed_before(std::string_view id, std::string_view other);

}  // namespace marigold
