// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/list_language/line.h"

#include <algorithm>
#include <charconv>

#include "runtime/texte/code_set.h"

namespace marigold::inner {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_capital(char c) {
  return (c >= 'A' && c <= 'Z') || c == '_';
}

bool begins_word(char c) {
  return is_capital(c) || (c >= 'a' && c <= 'z');
}

bool is_in_word(char c) {
  return begins_word(c) || is_digit(c);
}

}  // namespace

std::string as_message(const std::string& file, const SourceNote& note) {
  return file + ":" + std::to_string(note.line) + ":" + std::to_string(note.column) + ": " +
         (note.warning ? "warning: " : "") + note.message;
}

std::string in_message(std::string_view piece) {
  std::string text = latin1_as_utf8(piece);
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  return std::string(1, '"').append(text).append(1, '"');
}

int hex_digit(char character) {
  if (character >= 'a' && character <= 'f') character = static_cast<char>(character - 'a' + 'A');
  const std::size_t value = kHexDigits.find(character);
  return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

std::size_t SourceLine::skip_blanks() {
  const std::size_t from = at_;
  at_ = std::min(text_.find_first_not_of(" \t", at_), text_.size());
  return at_ - from;
}

bool SourceLine::take(char character) {
  const bool taken = !at_end() && text_[at_] == character;
  if (taken) ++at_;
  return taken;
}

std::string_view SourceLine::word() {
  const std::size_t from = at_;
  if (begins_word(next())) {
    while (is_in_word(next()))
      ++at_;
  }
  return text_.substr(from, at_ - from);
}

std::string_view SourceLine::run_of(std::string_view characters) {
  const std::size_t from = at_;
  at_ = std::min(text_.find_first_not_of(characters, at_), text_.size());
  return text_.substr(from, at_ - from);
}

bool SourceLine::integer(std::string_view what, std::int64_t least, std::int64_t most,
                         std::int64_t& value) {
  skip_blanks();
  const std::size_t from = at_;
  if (next() == '-') ++at_;
  while (is_digit(next()))
    ++at_;
  const std::string_view digits = text_.substr(from, at_ - from);
  std::int64_t number = 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (digits.empty() || digits == "-") {
    at_ = from;
    return expected(what);
  }
  if (parsed.ec != std::errc() || number < least || number > most)
    return error_at(from, std::string(what) + " is from " + std::to_string(least) + " to " +
                              std::to_string(most));
  value = number;
  return true;
}

bool SourceLine::escape(std::string& text) {
  const std::size_t from = at_ - 1;
  if (take('x')) {
    const int high = hex_digit(next());
    const int low = at_ + 1 < text_.size() ? hex_digit(text_[at_ + 1]) : -1;
    if (high < 0 || low < 0) return error_at(from, "\\x is followed by two hexadecimal digits");
    text += static_cast<char>(high * 16 + low);
    at_ += 2;
    return true;
  }
  const char character = next();
  if (character != '\\' && character != '\'' && character != '"')
    return error_at(from, "a backslash in quotes is followed by \\, a quote or x");
  text += character;
  ++at_;
  return true;
}

bool SourceLine::quoted(std::string_view what, char quote, std::string& text) {
  skip_blanks();
  const std::size_t from = at_;
  text.clear();
  if (!take(quote)) return expected(what);
  while (!take(quote)) {
    if (at_end()) return error_at(from, "the quote does not end on its line");
    const char character = text_[at_++];
    if (character != '\\') {
      text += character;
    } else if (!escape(text)) {
      return false;
    }
  }
  return true;
}

bool SourceLine::name(std::string_view what, std::string& name) {
  skip_blanks();
  if (next() == '\'') return quoted(what, '\'', name);
  name = word();
  return !name.empty() || expected(what);
}

bool SourceLine::error_at(std::size_t place, std::string message) {
  error_elsewhere(number_, place, std::move(message));
  return false;
}

void SourceLine::error_elsewhere(int line, std::size_t place, std::string message) {
  notes_.push_back(
      {.line = line, .column = static_cast<int>(place) + 1, .message = std::move(message)});
}

bool SourceLine::expected(std::string_view what) {
  constexpr std::size_t kShown = 20;
  std::string_view found = rest();
  found = found.substr(0, std::min(found.find_first_of(" }"), kShown));
  if (found.empty()) found = rest().substr(0, 1);
  return error("expected " + std::string(what) + ", found " +
               (at_end() ? "the end of the line" : in_message(found)));
}

void SourceLine::warning_at(std::size_t place, std::string message) {
  notes_.push_back({.line = number_,
                    .column = static_cast<int>(place) + 1,
                    .warning = true,
                    .message = std::move(message)});
}

bool is_visible(char character) {
  constexpr unsigned kDelete = 0x7F;
  constexpr unsigned kNoBreakSpace = 0xA0;
  constexpr unsigned kSoftHyphen = 0xAD;
  const auto code = static_cast<unsigned char>(character);
  return (code >= ' ' && code < kDelete) || (code > kNoBreakSpace && code != kSoftHyphen);
}

std::string written_quoted(std::string_view text, char quote) {
  std::string result(1, quote);
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (!is_visible(character)) {
      result.append("\\x") += kHexDigits[code / 16];
      result += kHexDigits[code % 16];
      continue;
    }
    if (character == quote || character == '\\') result += '\\';
    result += character;
  }
  return result + quote;
}

std::string written_name(std::string_view name, NameKind kind) {
  const bool plain = !name.empty() && std::ranges::all_of(name, is_in_word) &&
                     (kind == NameKind::kVariable ? is_capital : begins_word)(name.front());
  return plain ? std::string(name) : written_quoted(name, '\'');
}

}  // namespace marigold::inner
