// SPDX-License-Identifier: GPL-3.0-or-later
// Makes texts from files, the environment or other programs safe for a terminal: no byte of them
// may act as a control character there.
#pragma once

#include <string>
#include <string_view>

namespace marigold::inner {

// Place of a terminal's control characters above 127.
enum class TerminalCharset {
  kUtf8,     // the characters U+0080 to U+009F, of two bytes each
  kIso8859,  // the bytes 128 to 159
  kUnknown,  // perhaps those bytes; the locale names no known set
};

// The locale's name is the value of LC_ALL, LC_CTYPE or LANG, the first of them that is set and not
// empty; the part of the name after "." gives the character set. Takes values of the environment,
// null for a variable that is not set.
TerminalCharset terminal_charset(const char* lc_all, const char* lc_ctype, const char* lang);
// Uses this process's environment.
TerminalCharset terminal_charset();

enum class LineEnds { kKept, kShown };

// Returns the text with each control character except tabs as "\x1B" and the like. Bytes that are
// no character of the set stay unchanged, unless they are 128 to 159.
std::string visible_text(std::string_view text, TerminalCharset charset, LineEnds line_ends);

// Writes to standard output, to a terminal as visible_text with line ends kept. Returns 0 or the
// system's error number.
int write_visible(std::string_view bytes);

// Returns the text for standard error: visible_text on a terminal, elsewhere the text unchanged.
std::string error_text(std::string_view text, LineEnds line_ends);

}  // namespace marigold::inner
