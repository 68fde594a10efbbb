// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/format_language.h"

#include <algorithm>

namespace marigold::inner {
namespace {

constexpr std::string_view kFlags = "-+ #";
constexpr std::string_view kModifiers = "lLh";
constexpr std::string_view kConversions = "diouxXfeEgGcs";
constexpr std::string_view kEscapeLetters = "\"\\abcfnrtv";
constexpr std::size_t kMostEscapeDigits = 3;

// Returns the character at a position, or 0 beyond the end.
char at(std::string_view text, std::size_t position) {
  return position < text.size() ? text[position] : '\0';
}

// A loop, because the sets are constants: the compiler turns it into a few comparisons without a
// call.
bool is_one_of(std::string_view set, char character) {
  for (const char member : set) {
    if (member == character) return true;
  }
  return false;
}

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

// Returns the value of a digit, or the base for a character that is no digit of the base.
unsigned digit_value(char character, unsigned base) {
  unsigned value = base;
  if (is_digit(character)) value = static_cast<unsigned>(character - '0');
  if (character >= 'a' && character <= 'f') value = static_cast<unsigned>(character - 'a' + 10);
  if (character >= 'A' && character <= 'F') value = static_cast<unsigned>(character - 'A' + 10);
  return std::min(value, base);
}

// Takes "*" or digits at the position, and moves the position after them.
void parse_number(std::string_view text, std::size_t& position, std::string_view& digits,
                  bool& from_argument) {
  if (at(text, position) == '*') {
    from_argument = true;
    ++position;
    return;
  }
  const std::size_t start = position;
  while (is_digit(at(text, position)))
    ++position;
  digits = text.substr(start, position - start);
}

}  // namespace

Directive directive_parse(std::string_view text) {
  Directive parsed;
  const char first = at(text, 1);
  if (first == '%' || first == 'b') {
    parsed.kind = first == '%' ? DirectiveKind::kPercent : DirectiveKind::kEscapedText;
    parsed.conversion = first;
    parsed.length = 2;
    return parsed;
  }
  std::size_t position = 1;
  if (is_one_of(kFlags, first)) {
    parsed.flag = first;
    ++position;
  }
  parse_number(text, position, parsed.width, parsed.width_from_argument);
  if (at(text, position) == '.') {
    parsed.has_precision = true;
    ++position;
    parse_number(text, position, parsed.precision, parsed.precision_from_argument);
  }
  if (is_one_of(kModifiers, at(text, position))) parsed.modifier = text[position++];
  parsed.conversion = at(text, position);
  if (position < text.size()) {
    parsed.kind = is_one_of(kConversions, parsed.conversion) ? DirectiveKind::kConversion
                                                             : DirectiveKind::kInvalid;
    ++position;
  }
  parsed.length = position;
  return parsed;
}

Escape escape_parse(std::string_view text) {
  Escape parsed;
  std::size_t position = 1;
  const char first = at(text, position);
  if (first == 'x' || first == '0') {
    parsed.numeric = true;
    const std::size_t digits_start = ++position;
    const unsigned base = first == 'x' ? 16 : 8;
    unsigned number = 0;
    while (position < digits_start + kMostEscapeDigits &&
           digit_value(at(text, position), base) < base) {
      number = number * base + digit_value(text[position++], base);
    }
    parsed.byte = static_cast<unsigned char>(number);
    parsed.digits_missing = first == 'x' && position == digits_start;
  }
  parsed.has_letter = position < text.size();
  parsed.letter = at(text, position);
  parsed.length = std::min(position + 1, text.size());
  return parsed;
}

bool escape_letter_is_known(char letter) {
  return is_one_of(kEscapeLetters, letter);
}

}  // namespace marigold::inner
