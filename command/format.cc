#include "command/format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "runtime/texte/format_language.h"

namespace marigold {
namespace {

constexpr char kBackslash = '\\';

// The next argument, or null with the message when there is none.
const char* take_argument(Arguments& arguments) {
  if (arguments.empty()) {
    std::fputs("missing argument\n", stderr);
    return nullptr;
  }
  const char* word = arguments.front();
  arguments = arguments.subspan(1);
  return word;
}

// Decimal always, up to the first character that is no digit; clamped to 32 bits.
std::int32_t to_integer(const char* word) {
  using Limits = std::numeric_limits<std::int32_t>;
  const long long value = std::strtoll(word, nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

// A number taken for "*", in digits; empty when there is none to be had or a negative one. The
// value that the directive formats has to be there as well.
std::string take_star(Arguments& arguments, const char* when_negative) {
  if (arguments.size() < 2) {
    std::fputs("missing argument\n", stderr);
    return {};
  }
  const std::int32_t number = to_integer(take_argument(arguments));
  if (number < 0) {
    std::fputs(when_negative, stderr);
    return {};
  }
  return std::to_string(number);
}

bool is_one_of(std::string_view set, char character) {
  return set.find(character) != std::string_view::npos;
}

// The directive for the C library. What a text may ask for goes beyond what the library defines, so
// that a part without a meaning for the conversion is left out, as the library would ignore it:
//   - "#" only before o, x, X and the floating conversions; zero padding only for numbers;
//   precision not for "c";
//   - "l" and "L", because every value is 32 bits or a double; "h", which cuts integers to 16 bits,
//   only for those.
class LibraryDirective {
 public:
  LibraryDirective(const Directive& parsed, Arguments& arguments) : text_("%") {
    const char letter = parsed.conversion;
    const bool is_text = is_one_of("cs", letter);
    if (parsed.flag != '\0' && (parsed.flag != '#' || is_one_of("oxXeEfgG", letter))) {
      text_ += parsed.flag;
    }
    append_width(parsed, is_text, arguments);
    append_precision(parsed, letter, arguments);
    if (parsed.modifier == 'h' && is_one_of("diouxX", letter)) text_ += parsed.modifier;
    text_ += letter;
  }

  [[nodiscard]] const char* c_str() const { return text_.c_str(); }

 private:
  void append_width(const Directive& parsed, bool is_text, Arguments& arguments) {
    if (parsed.width_from_argument) {
      const std::string width = take_star(arguments, "negative field width\n");
      if (parsed.conversion != 'c') text_ += width;  // used up, and never applied to "c"
      return;
    }
    std::string_view digits = parsed.width;
    if (is_text) digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    text_ += digits;
  }

  void append_precision(const Directive& parsed, char letter, Arguments& arguments) {
    if (!parsed.has_precision) return;
    std::string digits(parsed.precision);
    if (parsed.precision_from_argument) {
      digits = take_star(arguments, "negative precision\n");
      if (digits.empty()) return;
    }
    if (letter != 'c') text_.append(".").append(digits);
  }

  std::string text_;
};

void print_value(const char* directive, char letter, const char* word, Output& output) {
  switch (letter) {
    case 'd':
    case 'i':
      return output.print(directive, word == nullptr ? 0 : to_integer(word));
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      return output.print(directive,
                          static_cast<std::uint32_t>(word == nullptr ? 0 : to_integer(word)));
    case 'c':
      // An empty argument's first byte is the zero byte behind it.
      if (word != nullptr) output.print(directive, static_cast<int>(*word));
      return;
    case 's':
      return output.print(directive, word == nullptr ? "" : word);
    default:
      return output.print(directive, word == nullptr ? 0.0 : std::strtod(word, nullptr));
  }
}

// Writes what a letter of the escape table stands for.
Formatted write_escape_letter(char letter, Output& output) {
  switch (letter) {
    case 'a':
      output.put('\a');
      break;
    case 'b':
      output.put('\b');
      break;
    case 'c':
      return Formatted::kStopped;
    case 'f':
      output.put('\f');
      break;
    case 'n':
      output.put('\n');
      break;
    case 'r':
      output.put('\r');
      break;
    case 't':
      output.put('\t');
      break;
    case 'v':
      output.put('\v');
      break;
    default:
      output.put(letter);
  }
  return Formatted::kWhole;
}

Formatted write_escape(const Escape& escape, Output& output) {
  if (escape.digits_missing) std::fputs("missing hexadecimal number in escape", stderr);
  if (escape.numeric) output.put(static_cast<char>(escape.byte));
  // The character behind the digits goes through the same table and is never complained about.
  const bool known = escape.numeric || escape_letter_is_known(escape.letter);
  if (escape.has_letter && !known) std::fprintf(stderr, "\\%c: invalid escape", escape.letter);
  // A backslash at the end of a text writes the zero byte that ended it.
  if (!escape.has_letter && escape.numeric) return Formatted::kWhole;
  return write_escape_letter(escape.letter, output);
}

Formatted write_directive(const Directive& parsed, Arguments& arguments, Output& output) {
  if (parsed.conversion == '%') {
    output.put('%');
    return Formatted::kWhole;
  }
  if (parsed.conversion == 'b') {
    const char* word = take_argument(arguments);
    return word == nullptr ? Formatted::kWhole : format_escapes(word, output);
  }
  const LibraryDirective directive(parsed, arguments);
  if (parsed.conversion == '\0') return Formatted::kWhole;  // the text ends in the directive
  const bool valid = directive_is_conversion(parsed.conversion);
  if (!valid) std::fprintf(stderr, "%%%c: invalid directive\n", parsed.conversion);
  const char* word = take_argument(arguments);
  if (valid) print_value(directive.c_str(), parsed.conversion, word, output);
  return Formatted::kWhole;
}

// Writes the plain bytes before the first of the characters that mean something, and returns what
// follows them.
std::string_view write_plain(std::string_view text, const char* special, Output& output) {
  const std::string_view plain = text.substr(0, text.find_first_of(special));
  output.write(plain);
  return text.substr(plain.size());
}

}  // namespace

Formatted format_text(std::string_view text, Arguments& arguments, Output& output) {
  Formatted result = Formatted::kWhole;
  while (result == Formatted::kWhole) {
    text = write_plain(text, "%\\", output);
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
    text = write_plain(text, "\\", output);
    if (text.empty()) break;
    const Escape escape = escape_parse(text);
    result = write_escape(escape, output);
    text.remove_prefix(escape.length);
  }
  return result;
}

}  // namespace marigold
