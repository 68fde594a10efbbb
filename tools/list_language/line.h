// SPDX-License-Identifier: GPL-3.0-or-later
// A line of a list source, read word by word, and what is said about the lines of a source.
//
// Lines are ISO 8859-1 here: a character is a byte, and its column its place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marigold {

struct SourceNote {
  int line = 0;    // both from 1
  int column = 0;  // in characters
  bool warning = false;
  std::string message = {};
};

// "FILE:LINE:COLUMN: [warning: ]MESSAGE"
std::string as_message(const std::string& file, const SourceNote& note);

class SourceLine {
 public:
  SourceLine(std::string_view text, int number, std::vector<SourceNote>& notes)
      : text_(text), number_(number), notes_(notes) {}

  [[nodiscard]] std::string_view text() const { return text_; }
  [[nodiscard]] int number() const { return number_; }

  // ---- Where reading stands, from 0
  [[nodiscard]] std::size_t at() const { return at_; }
  void go_to(std::size_t at) { at_ = at; }
  [[nodiscard]] bool at_end() const { return at_ == text_.size(); }
  [[nodiscard]] char next() const { return at_end() ? '\0' : text_[at_]; }
  [[nodiscard]] std::string_view rest() const { return text_.substr(at_); }

  // ---- Taking something, if it is there
  std::size_t skip_blanks();  // how many there were
  bool take(char character);
  // A word that begins with a letter or "_" and goes on with them and digits; "" if there is none.
  std::string_view word();
  // As many of these characters as there are.
  std::string_view run_of(std::string_view characters);

  // ---- Taking something that has to be there: false, and an error has been noted, if it is not.
  // Blanks before it are passed over.
  bool integer(std::string_view what, std::int64_t least, std::int64_t most, std::int64_t& value);
  // A text in quotes of this kind; \\ and \" and \' and \xHH in it are one character each.
  bool quoted(std::string_view what, char quote, std::string& text);
  // A word, or a text in single quotes.
  bool name(std::string_view what, std::string& name);

  // ---- Notes; an error returns false
  bool error(std::string message) { return error_at(at_, std::move(message)); }
  bool error_at(std::size_t place, std::string message);
  bool expected(std::string_view what);  // and says what was found
  void warning_at(std::size_t place, std::string message);
  // About an earlier line.
  void error_elsewhere(int line, std::size_t place, std::string message);

 private:
  bool escape(std::string& text);

  std::string_view text_;
  int number_;
  std::vector<SourceNote>& notes_;
  std::size_t at_ = 0;
};

// A piece of a line, for a message: UTF-8, in double quotes.
std::string in_message(std::string_view piece);

// What a reader can see, and no editor changes.
bool is_visible(char character);

// The value of a hexadecimal digit, -1 for any other character.
int hex_digit(char character);

// A name as it is written in a source: in quotes when it has to be. Names of lists and blocks are
// words; those of variables and fields are, too, and their first letter is a capital.
enum class NameKind { kList, kVariable };
std::string written_name(std::string_view name, NameKind kind);
std::string written_quoted(std::string_view text, char quote);

}  // namespace marigold
