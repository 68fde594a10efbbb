// SPDX-License-Identifier: GPL-3.0-or-later
// Code sets (marigold/code_sets.h), and characters of UTF-8 texts for messages.
#pragma once

#include <string>
#include <string_view>

#include "marigold/code_sets.h"
#include "runtime/platform/character_conversion.h"

namespace marigold::inner {

// Returns whether some character takes several bytes of which one after the first is below 128 and
// so looks like an ASCII character. `from_utf8` converts to the code set of this name.
bool hides_ascii(std::string_view converter_name, const CharacterConversion& from_utf8);

// Returns the character at or around a position of a UTF-8 text, for a message: "€" (U+20AC).
std::string describe_character(std::string_view text, std::size_t position);

bool is_utf8(std::string_view text);

// Number of bytes of the character at a position of a UTF-8 text, at least 1.
std::size_t character_length(std::string_view text, std::size_t position);

}  // namespace marigold::inner
