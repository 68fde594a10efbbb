// SPDX-License-Identifier: GPL-3.0-or-later
// Explains wrong usage: names the unknown word and a known word that the user may have meant.
#pragma once

#include <CLI/App.hpp>
#include <span>
#include <string>
#include <string_view>

namespace marigold::inner {

// Returns one line about a command line that could not be parsed. `tool` is the tool that parsed
// it.
std::string usage_error(const CLI::App& tool, const CLI::Error& error);

// Returns the name nearest to a word, by the number of slips (a letter too many, missing or wrong,
// or two exchanged); empty if that number exceeds three, or a third of the word's letters.
std::string nearest_name(std::string_view word, std::span<const std::string> names);

}  // namespace marigold::inner
