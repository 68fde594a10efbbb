// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/definition/scan_tokens.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace marigold::inner {
namespace {

bool is_separator(char character) {
  return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

// Removes a leading "+", which std::from_chars does not accept.
std::string_view without_plus(std::string_view token) {
  const bool plus = token.size() > 1 && token[0] == '+' && token[1] != '-';
  return plus ? token.substr(1) : token;
}

template <typename Number>
bool to_number(std::string_view token, Number& number) {
  token = without_plus(token);
  const char* end = token.data() + token.size();
  const auto [stop, error] = std::from_chars(token.data(), end, number);
  return error == std::errc{} && stop == end;
}

}  // namespace

int TokenReader::read(Kind kind, Token& token) {
  for (;;) {
    const bool skipping = place_ == Place::kSkippedPart;
    token = take(skipping ? Kind::kSkipped : kind);
    if (token.text.empty()) return kScanUnexpectedEnd;
    bool directive = false;
    const int error = obey(token, directive);
    if (error != 0) return error;
    if (skipping || directive) continue;
    if (kind == Kind::kName && token.text.size() > kWordLength) return kScanWordTooLong;
    return token.text.size() > kLongestValue && kind != Kind::kWord ? kScanValueTooLong : 0;
  }
}

// Follows the token if it is a directive of a section.
int TokenReader::obey(Token& token, bool& directive) {
  if (sections_ == Sections::kIgnored || token.text[0] != '$') return 0;
  directive = true;
  if (token.is("$IFDEF")) return enter_section(token);
  if (token.is("$ELSE")) {
    if (place_ != Place::kSkippedPart) return kScanElseUnexpected;
    place_ = Place::kUsedPart;
  } else if (token.is("$ENDIF")) {
    if (place_ == Place::kOutside) return kScanEndifUnexpected;
    place_ = Place::kOutside;
  } else {
    directive = false;
  }
  return 0;
}

// A section with another qualifier begins all the same, so that a reader that continues after the
// error meets the section's other directives where they are expected.
int TokenReader::enter_section(Token& token) {
  if (place_ != Place::kOutside) return kScanIfdefUnexpected;
  place_ = Place::kSkippedPart;
  token = take(Kind::kWord);
  if (token.text.empty()) return kScanUnexpectedEnd;
  return token.is("MSDOS") ? 0 : kScanBadQualifier;
}

Token TokenReader::take(Kind kind) {
  skip_to_token();
  const std::size_t end = end_of_token(kind);
  const Token token{.text = text_.substr(position_, end - position_), .line = line_};
  advance_to(end);
  return token;
}

// Names and values end at most one character beyond the limit of values. That one character shows
// that they are too long, and it bounds the cost of a quote without an end.
std::size_t TokenReader::end_of_token(Kind kind) const {
  const bool value = kind == Kind::kValue || kind == Kind::kList;
  std::size_t limit = text_.size() - position_;
  if (value || kind == Kind::kName) limit = std::min(limit, kLongestValue + 1);
  const std::size_t end = position_ + limit;
  bool quoted = false;
  std::size_t at = position_;
  for (; at < end; ++at) {
    const char character = text_[at];
    // A skipped token may be a value, whose quotes count, or a name that ends in an underscore.
    if (character == '_' && (value || (kind == Kind::kSkipped && quoted))) {
      at = std::min(at + 1, end - 1);
    } else if (character == '\'') {
      quoted = !quoted;
    } else if (!quoted && (is_separator(character) || character == '#')) {
      break;
    } else if (!quoted && character == ',' && kind == Kind::kList) {
      return std::max(at, position_ + 1);
    }
  }
  return at;
}

void TokenReader::skip_to_token() {
  std::size_t at = position_;
  while (at < text_.size() && (is_separator(text_[at]) || text_[at] == '#'))
    at = text_[at] == '#' ? std::min(text_.find('\n', at), text_.size()) : at + 1;
  advance_to(at);
}

void TokenReader::advance_to(std::size_t position) {
  const std::string_view passed = text_.substr(position_, position - position_);
  line_ += static_cast<int>(std::ranges::count(passed, '\n'));
  position_ = position;
}

void TokenReader::resume_after_line_of(const Token& token) {
  position_ = static_cast<std::size_t>(token.text.data() - text_.data());
  line_ = token.line;
  advance_to(std::min(text_.find('\n', position_), text_.size()));
}

bool token_unquote(std::string_view token, std::string& text) {
  text.clear();
  if (token.empty() || token[0] != '\'') return false;
  token = token.substr(1, kLongestQuoted);
  for (std::size_t at = 0; at < token.size() && token[at] != '\''; ++at) {
    if (token[at] == '_' && at + 1 < token.size()) ++at;
    text += token[at];
  }
  return true;
}

bool token_integer(std::string_view token, std::int32_t least, std::int32_t most,
                   std::int32_t& number) {
  return to_number(token, number) && number >= least && number <= most;
}

bool token_real(std::string_view token, double& number) {
  return to_number(token, number) && std::isfinite(number);
}

}  // namespace marigold::inner
