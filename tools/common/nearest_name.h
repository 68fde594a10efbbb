// SPDX-License-Identifier: GPL-3.0-or-later
// Finds the known name that the user of an unknown one may have meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace marigold::inner {

// Returns the name nearest to a word, by the number of slips (a letter too many, missing or wrong,
// or two exchanged); empty if that number exceeds three, or a third of the word's letters.
std::string nearest_name(std::string_view word, std::span<const std::string> names);

}  // namespace marigold::inner
