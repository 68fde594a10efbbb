// Texts from files, the environment or other programs on their way to a terminal: nothing in them
// may act as a control character there.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

// Where a terminal has its control characters above 127.
enum class TerminalCharset {
  kUtf8,     // the characters U+0080 to U+009F, of two bytes each
  kIso8859,  // the bytes 128 to 159
  kUnknown,  // perhaps there; the locale does not say
};

// The rule: the locale's name is that of LC_ALL, LC_CTYPE or LANG, the first of them that is there
// and not empty, and the character set is told by what stands behind its ".". Takes values of the
// environment, null for a variable that is not set.
TerminalCharset terminal_charset(const char* lc_all, const char* lc_ctype, const char* lang);
// Of this process's environment.
TerminalCharset terminal_charset();

enum class LineEnds { kKept, kShown };

// The text with each control character, but for tabs, as "\x1B" and the like. Bytes that are no
// character of the set stay as they are, unless they are 128 to 159.
std::string visible_text(std::string_view text, TerminalCharset charset, LineEnds line_ends);

// What to write to standard error: visible_text on a terminal, elsewhere the text as it is.
std::string error_text(std::string_view text, LineEnds line_ends);

}  // namespace marigold
