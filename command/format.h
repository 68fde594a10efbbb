// SPDX-License-Identifier: GPL-3.0-or-later
// Formatting of texts: plain bytes are copied, directives format the next argument, escapes write
// control bytes.
//
// The grammar is that of runtime/texte/format_language.h. Output goes to `output`; what is wrong
// with a text or its arguments is reported on standard error and formatting goes on: "missing
// argument", "negative field width", "negative precision", "%q: invalid directive" (with a line end
// each), "missing hexadecimal number in escape", "\q: invalid escape" (without one).
#pragma once

#include <span>
#include <string_view>

#include "command/output.h"

namespace marigold {

// The words that directives consume, from the left.
using Arguments = std::span<char* const>;

enum class Formatted {
  kWhole,    // the text is written
  kStopped,  // an escape "\c" ended it, and ends the run
};

// Formats a text, and moves the arguments past what it used. A missing value formats as nothing, or
// as 0.
[[nodiscard]] Formatted format_text(std::string_view text, Arguments& arguments, Output& output);

// Copies a text with only its escapes decoded: the directive "%b".
[[nodiscard]] Formatted format_escapes(std::string_view text, Output& output);

}  // namespace marigold
