// SPDX-License-Identifier: GPL-3.0-or-later
// Blocks of the open list: found in its files and printed.
#pragma once

#include <string_view>

#include "runtime/print/engine/list_state.h"

namespace marigold {

// The block by its name, null when there is none or it is damaged: then the list is aborted and the
// user has been told.
const Block* block_find(std::string_view name);
// Its record alone; null without a word when there is none.
const Block* block_record(std::string_view name);
void block_run(std::string_view name, BlockKind kind);

}  // namespace marigold
