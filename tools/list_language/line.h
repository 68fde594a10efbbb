// SPDX-License-Identifier: GPL-3.0-or-later
// A line of a list source, read word by word, and the notes about lines of a source.
//
// Lines are ISO 8859-1 here: a character is a byte, and its column is its place in the line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner {

struct SourceNote {
  int line = 0;    // both from 1
  int column = 0;  // in characters
  bool warning = false;
  std::string message = {};
};

// Returns "FILE:LINE:COLUMN: [warning: ]MESSAGE".
std::string as_message(const std::string& file, const SourceNote& note);

class SourceLine {
 public:
  SourceLine(std::string_view text, int number, std::vector<SourceNote>& notes)
      : text_(text), number_(number), notes_(notes) {}

  [[nodiscard]] std::string_view text() const { return text_; }
  [[nodiscard]] int number() const { return number_; }

  // ---- Position of the reader, from 0
  [[nodiscard]] std::size_t at() const { return at_; }
  void go_to(std::size_t at) { at_ = at; }
  [[nodiscard]] bool at_end() const { return at_ == text_.size(); }
  [[nodiscard]] char next() const { return at_end() ? '\0' : text_[at_]; }
  [[nodiscard]] std::string_view rest() const { return text_.substr(at_); }

  // ---- Optional parts
  std::size_t skip_blanks();  // returns their number
  bool take(char character);
  // Takes a word: a letter or "_", then letters, "_" and digits; "" without one.
  std::string_view word();
  // Takes as many of these characters as follow.
  std::string_view run_of(std::string_view characters);

  // ---- Required parts: skip blanks before the part; return false, and note an error, without it.
  bool integer(std::string_view what, std::int64_t least, std::int64_t most, std::int64_t& value);
  // Takes a text in quotes of this kind; \\ and \" and \' and \xHH in it are one character each.
  bool quoted(std::string_view what, char quote, std::string& text);
  // Takes a word, or a text in single quotes.
  bool name(std::string_view what, std::string& name);

  // ---- Notes; an error returns false
  bool error(std::string message) { return error_at(at_, std::move(message)); }
  bool error_at(std::size_t place, std::string message);
  bool expected(std::string_view what);  // and names the text found
  void warning_at(std::size_t place, std::string message);
  // Notes an error of an earlier line.
  void error_elsewhere(int line, std::size_t place, std::string message);

 private:
  bool escape(std::string& text);

  std::string_view text_;
  int number_;
  std::vector<SourceNote>& notes_;
  std::size_t at_ = 0;
};

// Returns a piece of a line for a message: UTF-8, in double quotes.
std::string in_message(std::string_view piece);

// Whether a reader can see the character and no editor changes it.
bool is_visible(char character);

// Returns the value of a hexadecimal digit, -1 for any other character.
int hex_digit(char character);

// Returns a name in the form of a source: in quotes if necessary. Names of lists and blocks are
// words; names of variables and fields are words that begin with a capital.
enum class NameKind { kList, kVariable };
std::string written_name(std::string_view name, NameKind kind);
std::string written_quoted(std::string_view text, char quote);

}  // namespace marigold::inner
