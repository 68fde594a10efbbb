// SPDX-License-Identifier: GPL-3.0-or-later
// Tokens of the text files in the definitions directory: definition sets and version tables.
//
//   separators   blank, tab, carriage return, line feed
//   comments     from "#" to the end of the line
//   quoting      a single quote switches quoting on and off; within quotes every character belongs
//                to the token. The quotes stay in the token
//   words        compare by their first 8 characters, so BEGINFIELD is the keyword "BEGINFIE"
//   names        words of at most 8 characters
//   values       numbers and texts of up to 249 characters; "_" makes the next character part of
//                the value, and stays in the token before that character
//   sections     "$IFDEF MSDOS ... $ELSE ... $ENDIF", only for a reader that honours sections: it
//                skips the part before "$ELSE" and uses the part after "$ELSE". The reader skips
//                token by token, so quotes must be in pairs in the skipped part too
//
// A token is a view into the text; the text outlives the reader and its tokens. Errors have the
// numbers of system errors; nothing here raises one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/core/system_errors.h"

namespace marigold::inner {

inline constexpr std::size_t kWordLength = 8;
inline constexpr std::size_t kLongestValue = 249;
inline constexpr std::size_t kLongestQuoted = 250;

enum ScanErrorNumber : int {
  kScanSyntax = kErrorSetSyntax,
  kScanWordTooLong = kErrorSetLongWord,
  kScanValueTooLong = kErrorSetLongValue,
  kScanFieldType = kErrorSetFieldType,
  kScanKeyNumber = kErrorSetKeyNumber,
  kScanKeyInconsistent = kErrorSetKey,
  kScanKeyField = kErrorSetKeyField,
  kScanFileType = kErrorSetFileType,
  kScanRecordTooLarge = kErrorSetRecordLength,
  kScanRecordNumberField = kErrorSetRecordNumber,
  kScanIfdefUnexpected = kErrorSetIfdef,
  kScanElseUnexpected = kErrorSetElse,
  kScanEndifUnexpected = kErrorSetEndif,
  kScanBadQualifier = kErrorSetQualifier,
  kScanUnexpectedEnd = kErrorSetEnd,
};

struct Token {
  std::string_view text;  // raw, quotes included; empty at the end of the text
  int line = 1;           // in which it begins

  // Whether this is the keyword, which has at most 8 characters.
  [[nodiscard]] bool is(std::string_view keyword) const {
    return text.substr(0, kWordLength) == keyword;
  }
};

class TokenReader {
 public:
  enum class Sections : std::uint8_t { kIgnored, kHonoured };

  explicit TokenReader(std::string_view text, Sections sections = Sections::kIgnored)
      : text_(text), sections_(sections) {}

  // Each function takes the next token and returns 0, or an error with the token at fault:
  // kScanUnexpectedEnd when no token is left, an error of the sections if the reader honours them,
  // or the error named below.
  int read_word(Token& token) { return read(Kind::kWord, token); }
  // kScanWordTooLong
  int read_name(Token& token) { return read(Kind::kName, token); }
  // kScanValueTooLong
  int read_value(Token& token) { return read(Kind::kValue, token); }
  // Like read_value; outside quotes a comma ends the value, and the comma is the next token.
  int read_list_token(Token& token) { return read(Kind::kList, token); }

  // Continues after the line in which the token begins, to look for further errors: a too long
  // token often begins with a quote that nothing closes.
  void resume_after_line_of(const Token& token);

 private:
  enum class Kind : std::uint8_t { kWord, kName, kValue, kList, kSkipped };
  enum class Place : std::uint8_t { kOutside, kSkippedPart, kUsedPart };

  int read(Kind kind, Token& token);
  int enter_section(Token& token);
  int obey(Token& token, bool& directive);
  Token take(Kind kind);
  [[nodiscard]] std::size_t end_of_token(Kind kind) const;
  void advance_to(std::size_t position);
  void skip_to_token();

  std::string_view text_;
  Sections sections_;
  Place place_ = Place::kOutside;
  std::size_t position_ = 0;
  int line_ = 1;  // of the position
};

// Gives the text between the first two quotes of a token, without each underscore that escapes a
// character. Looks at no more than 250 characters after the first quote. Returns false for a token
// that does not begin with a quote.
bool token_unquote(std::string_view token, std::string& text);

// Reads a decimal number with an optional sign and nothing else, between the bounds.
bool token_integer(std::string_view token, std::int32_t least, std::int32_t most,
                   std::int32_t& number);

// Reads a finite decimal number with a point, in any of the C library's decimal forms.
bool token_real(std::string_view token, double& number);

}  // namespace marigold::inner
