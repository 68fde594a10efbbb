// SPDX-License-Identifier: GPL-3.0-or-later
// The command line of "marigold lists".
#pragma once

#include "tools/common/command_line.h"

namespace marigold::inner {

// Adds the group of commands to the tool.
void lists_register(Command tool);

}  // namespace marigold::inner
