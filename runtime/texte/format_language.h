// SPDX-License-Identifier: GPL-3.0-or-later
// The grammar of texts: plain bytes, directives and escapes.
//
//   directive   "%%"  "%b"  or  "%" [flag] [width] ["." [precision]] [modifier] conversion
//               flag: one of "-+ #"; width and precision: "*" or digits; modifier: one of "lLh";
//               conversion: one of "diouxXfeEgGcs"
//   escape      a backslash and a letter; "\x" and up to three hexadecimal digits; "\0" and up to
//               three octal digits; a numeric escape also takes the character after its digits
//
// This module only parses. The formatting command and the comparing author's tool give the parts
// their meaning. Every view points into the given text.
#pragma once

#include <cstddef>
#include <string_view>

namespace marigold::inner {

enum class DirectiveKind {
  kPercent,      // "%%"
  kEscapedText,  // "%b"
  kConversion,   // formats an argument by one of the conversion letters
  kInvalid,      // ends in a letter that is no conversion
  kUnfinished,   // the text ends before the letter
};

// One directive, from its "%" on.
struct Directive {
  DirectiveKind kind = DirectiveKind::kUnfinished;
  char flag = '\0';
  bool width_from_argument = false;      // "*"
  bool precision_from_argument = false;  // ".*"
  bool has_precision = false;            // has a ".", with or without digits
  std::string_view width;                // digits; a leading zero asks for zero padding
  std::string_view precision;            // digits
  char modifier = '\0';
  char conversion = '\0';  // the letter, valid or not; 0 in an unfinished directive
  std::size_t length = 0;  // of the directive in the text
};

// One escape, from its backslash on.
struct Escape {
  bool numeric = false;
  bool digits_missing = false;  // "\x" without a digit; its number is 0
  unsigned char byte = 0;       // of a numeric escape: the low 8 bits of its number
  bool has_letter = false;      // false only at the end of the text
  char letter = '\0';      // the escape letter; of a numeric escape the character after its digits
  std::size_t length = 0;  // of the escape in the text
};

// Parses a directive; the text begins with its "%".
Directive directive_parse(std::string_view text);

// Parses an escape; the text begins with its backslash.
Escape escape_parse(std::string_view text);

// Whether the language has a non-numeric escape with this letter.
bool escape_letter_is_known(char letter);

}  // namespace marigold::inner
