// SPDX-License-Identifier: GPL-3.0-or-later
// Formats texts: copies plain bytes, formats the next argument for a directive, and writes control
// bytes for escapes.
//
// runtime/texte/format_language.h describes the grammar. Output goes to `output`. Faults of a text
// or its arguments go to standard error, and formatting goes on: "missing argument", "negative
// field width", "negative precision", "%q: invalid directive" (each with a line end), "missing
// hexadecimal number in escape", "\q: invalid escape" (without one).
#pragma once

#include <span>
#include <string_view>

#include "command/output.h"

namespace marigold::inner {

// The words that directives consume, from the left.
using Arguments = std::span<char* const>;

enum class Formatted {
  kWhole,    // the text is written
  kStopped,  // an escape "\c" ended it, and ends the run
};

// Formats a text, and moves `arguments` past the used ones. A missing value formats as nothing, or
// as 0.
[[nodiscard]] Formatted format_text(std::string_view text, Arguments& arguments, Output& output);

// Copies a text and decodes only its escapes: the directive "%b".
[[nodiscard]] Formatted format_escapes(std::string_view text, Output& output);

}  // namespace marigold::inner
