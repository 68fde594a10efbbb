// SPDX-License-Identifier: GPL-3.0-or-later
// The format language on any text and any arguments: the first line of an input is the text, the
// others are its arguments.
//
// Promised: the scanner covers a text exactly; directives take arguments from the left; a text
// without directives and escapes is copied unchanged.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "command/format.h"
#include "fuzz/fuzz_input.h"
#include "runtime/texte/format_language.h"

namespace marigold::inner::fuzz {
namespace {

// Most digits of a width: wider fields would fill the memory.
constexpr std::size_t kMostDigits = 4;

// A width of so many digits, or more, is refused by the C library without an attempt.
constexpr std::size_t kRefusedDigits = 11;

// Counts the written bytes and keeps the first ones.
class CountingOutput final : public Output {
 public:
  [[nodiscard]] std::size_t count() const { return count_; }
  [[nodiscard]] const std::string& beginning() const { return beginning_; }

 protected:
  int deliver(std::string_view bytes) override {
    count_ += bytes.size();
    if (beginning_.empty()) beginning_ = bytes;
    return 0;
  }

 private:
  std::size_t count_ = 0;
  std::string beginning_;
};

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

// Shortens every number that could lead to a huge field, and leaves the numbers that are refused.
std::string tamed(std::string_view text, std::size_t refused_digits) {
  std::string result;
  for (std::size_t position = 0; position < text.size();) {
    std::size_t end = position;
    while (end < text.size() && is_digit(text[end]))
      ++end;
    std::string_view digits = text.substr(position, end - position);
    const std::size_t zeros = std::min(digits.find_first_not_of('0'), digits.size());
    const std::size_t significant = digits.size() - zeros;
    if (significant > kMostDigits && significant < refused_digits) {
      digits = digits.substr(0, zeros + kMostDigits);
    }
    result += digits;
    if (end < text.size()) result += text[end++];
    position = end;
  }
  return result;
}

void check_scanner(std::string_view text) {
  std::size_t covered = 0;
  while (covered < text.size()) {
    const std::string_view rest = text.substr(covered);
    std::size_t length = 1;
    if (rest.front() == '%') length = directive_parse(rest).length;
    if (rest.front() == '\\') length = escape_parse(rest).length;
    require(length >= 1 && length <= rest.size());
    covered += length;
  }
  require(covered == text.size());
}

void check_copied(const CountingOutput& output, std::string_view text) {
  require(output.count() == text.size());
  require(text.starts_with(output.beginning()));
}

void check_text(std::string_view text, Arguments given) {
  CountingOutput output;
  Arguments left = given;
  const Formatted result = format_text(text, left, output);
  output.flush();
  require(left.size() <= given.size());
  require(left.data() + left.size() == given.data() + given.size());
  if (text.find_first_of("%\\") != std::string_view::npos) return;
  require(result == Formatted::kWhole && left.size() == given.size());
  check_copied(output, text);
}

void check_argument(std::string_view argument) {
  CountingOutput output;
  const Formatted result = format_escapes(argument, output);
  output.flush();
  if (argument.find('\\') != std::string_view::npos) return;
  require(result == Formatted::kWhole);
  check_copied(output, argument);
}

void check(std::vector<std::string> lines) {
  lines.front() = tamed(lines.front(), kRefusedDigits);
  const std::string& text = lines.front();
  const bool has_star = text.find('*') != std::string::npos;
  std::vector<char*> arguments;
  for (std::size_t index = 1; index < lines.size(); ++index) {
    // A number for "*" is limited and never refused.
    if (has_star) lines[index] = tamed(lines[index], SIZE_MAX);
    arguments.push_back(lines[index].data());
    check_argument(lines[index]);
  }
  check_scanner(text);
  check_text(text, arguments);
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  marigold::inner::fuzz::check(marigold::inner::fuzz::split_lines(data, size));
  return 0;
}
