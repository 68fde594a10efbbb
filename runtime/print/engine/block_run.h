// SPDX-License-Identifier: GPL-3.0-or-later
// Finds the blocks of the open list in its files, and prints them.
#pragma once

#include <string_view>

#include "runtime/print/engine/list_state.h"

namespace marigold::inner {

// Returns the block of that name. Null if it is missing or damaged: the list is then aborted, and
// the user has seen a message.
const Block* block_find(std::string_view name);
// Returns the block with its record only; null, without a message, if there is none.
const Block* block_record(std::string_view name);
void block_run(std::string_view name, BlockKind kind);

}  // namespace marigold::inner
