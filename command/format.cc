// SPDX-License-Identifier: GPL-3.0-or-later
#include "command/format.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "command/message.h"
#include "marigold/core.h"
#include "runtime/texte/format_language.h"

namespace marigold::inner {
namespace {

constexpr char kBackslash = '\\';

// Takes the next argument; null, with a message, without one.
const char* take_argument(Arguments& arguments) {
  if (arguments.empty()) {
    std::fputs("missing argument\n", stderr);
    return nullptr;
  }
  const char* word = arguments.front();
  arguments = arguments.subspan(1);
  return word;
}

// Always decimal, up to the first character that is no digit; limited to 32 bits.
std::int32_t to_integer(const char* word) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long long value = std::strtoll(word, nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

using Digits = TextBuffer<std::numeric_limits<std::int32_t>::digits10 + 1>;

// Takes the number for "*", in digits; empty without one or for a negative one. The value that the
// directive formats must follow it.
Digits take_star(Arguments& arguments, const char* when_negative) {
  if (arguments.size() < 2) {
    std::fputs("missing argument\n", stderr);
    return {};
  }
  const std::int32_t number = to_integer(take_argument(arguments));
  if (number < 0) {
    std::fputs(when_negative, stderr);
    return {};
  }
  return Digits(std::to_string(number));
}

// Width and precision for "*", in digits; empty if the text has none or its own.
struct StarSizes {
  Digits width;
  Digits precision;
};

StarSizes take_stars(const Directive& parsed, Arguments& arguments) {
  StarSizes sizes;
  if (parsed.width_from_argument) sizes.width = take_star(arguments, "negative field width\n");
  if (parsed.precision_from_argument)
    sizes.precision = take_star(arguments, "negative precision\n");
  return sizes;
}

// A loop over constant sets, which compiles to a few comparisons without a call.
bool is_one_of(std::string_view set, char character) {
  for (const char member : set) {
    if (member == character) return true;
  }
  return false;
}

std::string_view width_of(const Directive& parsed, const StarSizes& stars) {
  return parsed.width_from_argument ? stars.width.view() : parsed.width;
}

// Gives the precision in digits; no digits mean 0. Returns false if the directive has no precision,
// or one that was refused.
bool has_precision(const Directive& parsed, const StarSizes& stars, std::string_view& digits) {
  digits = parsed.precision_from_argument ? stars.precision.view() : parsed.precision;
  return parsed.has_precision && !(parsed.precision_from_argument && digits.empty());
}

// ---- Texts and characters

constexpr std::size_t kMostColumns = std::numeric_limits<std::int32_t>::max();

// Returns a number of columns or bytes; digits of more than 31 bits give the largest such number.
std::size_t to_size(std::string_view digits) {
  std::size_t size = 0;
  for (const char digit : digits)
    size = std::min(kMostColumns, size * 10 + static_cast<std::size_t>(digit - '0'));
  return size;
}

void write_blanks(std::size_t count, Output& output) {
  constexpr std::string_view kBlanks =
      "                                                                ";
  for (; count > kBlanks.size(); count -= kBlanks.size())
    output.write(kBlanks);
  output.write(kBlanks.substr(0, count));
}

// Whether a field would have more columns than the C library can count. Some libraries would print
// it without its width, and say nothing.
bool is_too_wide(std::string_view digits) {
  constexpr std::size_t kShortest = std::numeric_limits<std::int32_t>::digits10 + 1;
  return digits.size() >= kShortest && to_size(digits) == kMostColumns;
}

// Writes a text in its field. For a text, flags other than "-" and leading zeros have no effect.
void write_padded(std::string_view text, std::size_t width, bool left, Output& output) {
  if (width == kMostColumns) return output.fail(EOVERFLOW);
  const std::size_t padding = width - std::min(width, text.size());
  if (!left) write_blanks(padding, output);
  output.write(text);
  if (left) write_blanks(padding, output);
}

void write_text(const Directive& parsed, const StarSizes& stars, const char* word, Output& output) {
  std::string_view text = word == nullptr ? "" : word;
  std::string_view precision;
  if (has_precision(parsed, stars, precision)) text = text.substr(0, to_size(precision));
  write_padded(text, to_size(width_of(parsed, stars)), parsed.flag == '-', output);
}

// A width for "*" is used up but never applied to a character.
void write_character(const Directive& parsed, const char* word, Output& output) {
  if (word == nullptr) return;
  // The first byte of an empty argument is its zero byte.
  write_padded({word, 1}, to_size(parsed.width), parsed.flag == '-', output);
}

// ---- Numbers

// Returns the directive for the C library, with the numbers for "*" in it, without parts that have
// no meaning for the conversion: "#" before d, i and u, which the library leaves undefined; "l" and
// "L", because every value is 32 bits or a double. "h" cuts integers to 16 bits and stays.
std::string library_directive(const Directive& parsed, const StarSizes& stars) {
  const char letter = parsed.conversion;
  std::string directive = "%";
  if (parsed.flag != '\0' && (parsed.flag != '#' || !is_one_of("diu", letter)))
    directive += parsed.flag;
  directive += width_of(parsed, stars);
  std::string_view precision;
  if (has_precision(parsed, stars, precision)) {
    directive += '.';
    directive += precision;
  }
  if (parsed.modifier == 'h' && is_one_of("diouxX", letter)) directive += parsed.modifier;
  return directive += letter;
}

void write_number(const Directive& parsed, const StarSizes& stars, const char* word,
                  Output& output) {
  std::string_view precision;
  const bool too_precise = has_precision(parsed, stars, precision) && is_too_wide(precision);
  if (too_precise || is_too_wide(width_of(parsed, stars))) return output.fail(EOVERFLOW);
  const std::string directive = library_directive(parsed, stars);
  const char* digits = word == nullptr ? "" : word;
  if (is_one_of("di", parsed.conversion)) {
    output.print(directive.c_str(), to_integer(digits));
  } else if (is_one_of("ouxX", parsed.conversion)) {
    output.print(directive.c_str(), static_cast<std::uint32_t>(to_integer(digits)));
  } else {
    output.print(directive.c_str(), std::strtod(digits, nullptr));
  }
}

// ---- Escapes and directives

// Writes the byte for a letter of the escape table; any other character stands for itself.
Formatted write_escape_letter(char letter, Output& output) {
  constexpr std::string_view kLetters = "abfnrtv";
  constexpr std::string_view kBytes = "\a\b\f\n\r\t\v";
  if (letter == 'c') return Formatted::kStopped;
  const std::size_t index = kLetters.find(letter);
  output.put(index == std::string_view::npos ? letter : kBytes[index]);
  return Formatted::kWhole;
}

Formatted write_escape(const Escape& escape, Output& output) {
  if (escape.digits_missing) std::fputs("missing hexadecimal number in escape", stderr);
  if (escape.numeric) output.put(static_cast<char>(escape.byte));
  // The character after the digits goes through the same table, without a complaint.
  const bool known = escape.numeric || escape_letter_is_known(escape.letter);
  if (escape.has_letter && !known)
    std::fprintf(stderr, "\\%s: invalid escape", shown({&escape.letter, 1}).c_str());
  // A backslash at the end of a text writes the zero byte after the text.
  if (!escape.has_letter && escape.numeric) return Formatted::kWhole;
  return write_escape_letter(escape.letter, output);
}

// An invalid or unfinished directive takes its arguments and writes nothing for them.
void write_field(const Directive& parsed, Arguments& arguments, Output& output) {
  const StarSizes stars = take_stars(parsed, arguments);
  if (parsed.kind == DirectiveKind::kUnfinished) return;
  if (parsed.kind == DirectiveKind::kInvalid) {
    std::fprintf(stderr, "%%%s: invalid directive\n", shown({&parsed.conversion, 1}).c_str());
    take_argument(arguments);
    return;
  }
  const char* word = take_argument(arguments);
  if (parsed.conversion == 's') return write_text(parsed, stars, word, output);
  if (parsed.conversion == 'c') return write_character(parsed, word, output);
  write_number(parsed, stars, word, output);
}

Formatted write_directive(const Directive& parsed, Arguments& arguments, Output& output) {
  switch (parsed.kind) {
    case DirectiveKind::kPercent:
      output.put('%');
      break;
    case DirectiveKind::kEscapedText:
      if (const char* word = take_argument(arguments)) return format_escapes(word, output);
      break;
    case DirectiveKind::kConversion:
    case DirectiveKind::kInvalid:
    case DirectiveKind::kUnfinished:
      write_field(parsed, arguments, output);
      break;
  }
  return Formatted::kWhole;
}

// Writes the plain bytes before the first special one, and returns the rest.
template <typename IsSpecial>
std::string_view write_plain(std::string_view text, IsSpecial is_special, Output& output) {
  const auto special = std::ranges::find_if(text, is_special);
  output.write({text.begin(), special});
  return {special, text.end()};
}

bool begins_escape(char character) {
  return character == kBackslash;
}

bool begins_something(char character) {
  return character == '%' || character == kBackslash;
}

}  // namespace

Formatted format_text(std::string_view text, Arguments& arguments, Output& output) {
  Formatted result = Formatted::kWhole;
  while (result == Formatted::kWhole) {
    text = write_plain(text, begins_something, output);
    if (text.empty()) break;
    if (text.front() == kBackslash) {
      const Escape escape = escape_parse(text);
      result = write_escape(escape, output);
      text.remove_prefix(escape.length);
    } else {
      const Directive directive = directive_parse(text);
      result = write_directive(directive, arguments, output);
      text.remove_prefix(directive.length);
    }
  }
  return result;
}

Formatted format_escapes(std::string_view text, Output& output) {
  Formatted result = Formatted::kWhole;
  while (result == Formatted::kWhole) {
    text = write_plain(text, begins_escape, output);
    if (text.empty()) break;
    const Escape escape = escape_parse(text);
    result = write_escape(escape, output);
    text.remove_prefix(escape.length);
  }
  return result;
}

}  // namespace marigold::inner
