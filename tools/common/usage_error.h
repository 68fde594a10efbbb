// SPDX-License-Identifier: GPL-3.0-or-later
// Wrong usage, explained: which word is unknown, and which one it may have been meant for.
#pragma once

#include <CLI/App.hpp>
#include <span>
#include <string>
#include <string_view>

namespace marigold {

// One line about a command line that could not be parsed. `tool` is the tool that tried.
std::string usage_error(const CLI::App& tool, const CLI::Error& error);

// The name nearest to a word: the one that the fewest slips (a letter too many, missing, wrong, or
// two exchanged) turn it into; empty when that takes more slips than a third of its letters, or
// three.
std::string nearest_name(std::string_view word, std::span<const std::string> names);

}  // namespace marigold
