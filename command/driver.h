// SPDX-License-Identifier: GPL-3.0-or-later
// One run of the command: options, start of the runtime, the text and its continuation texts.
#pragma once

#include <span>

#include "command/output.h"

namespace marigold::inner {

// Runs the command for the words of its command line, the program's name first, and returns the
// exit status: 0, or 1 for a usage error, for a continuation key that became too long, or for
// output that could not be written. Flushes all output before it returns.
int run_command(std::span<char* const> command_line, Output& output);

}  // namespace marigold::inner
