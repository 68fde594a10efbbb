// SPDX-License-Identifier: GPL-3.0-or-later
// Faults of the open list: those that abort it, and numbers that have no room.
#pragma once

#include <string>

#include "marigold/lists.h"

namespace marigold::inner {

// Shows the user the message and aborts the list.
void list_fail(const std::string& message, const char* help_key);
// Reports the number to the program, or keeps the first one for the end of the list.
void list_overflow(const ListOverflow& overflow);

}  // namespace marigold::inner
