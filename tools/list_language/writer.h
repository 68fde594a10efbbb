// SPDX-License-Identifier: GPL-3.0-or-later
// Writes the instructions of a block in the form of a list source: texts, and items in braces. ISO
// 8859-1, as a SourceLine.
#pragma once

#include <string>
#include <string_view>

#include "runtime/print/files/block_code.h"

namespace marigold::inner {

// Returns a text in the form of a line, with markers and invisible characters in braces.
std::string written_text(std::string_view text);

// Returns a variable and its generation, if that is not 0.
std::string written_variable(std::string_view name, std::int32_t generation);

// Returns an instruction in braces, with a text in quotes; for any but a jump and the end.
std::string written_item(const Instruction& instruction);

}  // namespace marigold::inner
