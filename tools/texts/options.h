// SPDX-License-Identifier: GPL-3.0-or-later
// The command line of "marigold texts".
#pragma once

#include <CLI/App.hpp>

namespace marigold::inner {

// Adds the command to the tool. If the user chooses it, parsing runs it and puts its exit status
// into `status`, which outlives the parsing.
void texts_register(CLI::App& tool, int& status);

}  // namespace marigold::inner
