// SPDX-License-Identifier: GPL-3.0-or-later
// Code sets: how the characters of a text become the bytes that a database holds.
//
// Inside the tool texts are UTF-8. A code set is named as in language identifiers ("8859", "1252")
// or as the system's converter names it ("ISO-8859-15").
#pragma once

#include <iconv.h>

#include <memory>
#include <string>
#include <string_view>

namespace marigold {

// One direction between two encodings, by the names of the system's converter.
class Conversion {
 public:
  // False when the converter does not know one of them.
  bool open(const std::string& to, const std::string& from);

  // Puts the converted bytes into the output. The position of the first character that cannot be
  // converted exactly, or npos when all could; the output then is whole.
  std::size_t convert(std::string_view text, std::string& output) const;

 private:
  struct Closer {
    void operator()(void* converter) const { iconv_close(converter); }
  };
  std::unique_ptr<void, Closer> converter_;
};

// Whether some character takes several bytes of which one after the first is below 128 and so looks
// like an ASCII character. `from_utf8` converts to the code set, which has this name there.
bool hides_ascii(std::string_view converter_name, const Conversion& from_utf8);

// The code set of a text database. Every ASCII character stands for itself in it: ids, directives
// and escapes are read byte by byte.
class CodeSet {
 public:
  // "8859" is ISO 8859-1, "8859-15" ISO 8859-15; a bare number is the code page of that number. On
  // failure the reason holds a message.
  bool open(const std::string& name, std::string& reason);

  // The same, and refuses code sets that hide ASCII: programs would take the "%" or the backslash
  // in the middle of a character for the beginning of a directive or an escape.
  bool open_for_texts(const std::string& name, std::string& reason);

  // Both as Conversion::convert; the output leads back to exactly the input.
  std::size_t to_bytes(std::string_view text, std::string& bytes) const;
  std::size_t to_text(std::string_view bytes, std::string& text) const;

  // For a message: the code set lacks the character at a position of a text.
  [[nodiscard]] std::string describe_lacking(std::string_view text, std::size_t position) const;

  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  std::string name_;
  std::string converter_;
  Conversion to_bytes_;
  Conversion to_text_;
};

// The code set of the language that the environment names.
std::string code_set_of_environment();

// What the runtime prints, in ISO 8859-1, as a text of the tool.
std::string latin1_as_utf8(std::string_view bytes);

// The character at a position of a UTF-8 text, or around it, for a message: "€" (U+20AC).
std::string describe_character(std::string_view text, std::size_t position);

bool is_utf8(std::string_view text);

// How many bytes the character at a position of a UTF-8 text has; at least 1.
std::size_t character_length(std::string_view text, std::size_t position);

}  // namespace marigold
