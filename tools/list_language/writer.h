// SPDX-License-Identifier: GPL-3.0-or-later
// How the instructions of a block are written in a list source: their texts, and what stands in
// braces. ISO 8859-1, as a SourceLine.
#pragma once

#include <string>
#include <string_view>

#include "runtime/print/files/block_code.h"

namespace marigold {

// A text as it stands on a line, its markers and what cannot be seen in braces.
std::string written_text(std::string_view text);

// A variable and its generation, if that is not 0.
std::string written_variable(std::string_view name, std::int32_t generation);

// An instruction in braces, a text quoted; any but a jump and the end.
std::string written_item(const Instruction& instruction);

}  // namespace marigold
