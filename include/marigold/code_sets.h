// SPDX-License-Identifier: GPL-3.0-or-later
// Code sets: which bytes the characters of a text become.
//
// Names are those of language identifiers ("8859", "1252", "utf8") or of the system's converter
// ("ISO-8859-15"). Texts in UTF-8 go in and out. Nothing here is process-wide; two threads can use
// two objects. Memory that runs out is the only failure that is not a result: std::bad_alloc.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace marigold {

#pragma GCC visibility push(default)

// A code set in which every ASCII character is a single byte of the same number. Ids, directives
// and escapes of texts are read byte by byte.
class CodeSet {
 public:
  CodeSet();
  ~CodeSet();
  CodeSet(CodeSet&&) noexcept;
  CodeSet& operator=(CodeSet&&) noexcept;

  // "8859" is ISO 8859-1, "8859-15" ISO 8859-15; a bare number is the code page of that number.
  // Returns false with a message in `reason` if the converter does not know the code set or it
  // does not hold ASCII as it is; the object must not convert then.
  bool open(const std::string& name, std::string& reason);

  // The same, and refuses code sets with ASCII bytes inside their characters: programs would take
  // the "%" or the backslash in the middle of a character for the beginning of a directive or an
  // escape. Open text databases with it.
  bool open_for_texts(const std::string& name, std::string& reason);

  // Convert from UTF-8 to bytes of the code set, and back. Both replace the output. They return the
  // position in bytes, from 0, of the first character of the input that the other side lacks or
  // that would not come back as it was, and the output is a part then; std::string::npos if the
  // output is whole.
  std::size_t to_bytes(std::string_view text, std::string& bytes) const;
  std::size_t to_text(std::string_view bytes, std::string& text) const;

  // Returns the message that the code set lacks the character at this position of a UTF-8 text.
  [[nodiscard]] std::string describe_lacking(std::string_view text, std::size_t position) const;

  // The name as it was given to open; "" before.
  [[nodiscard]] const std::string& name() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Returns the code set of the language that the environment names: "8859" unless the language
// identifier has another one.
std::string code_set_of_environment();

// Returns a text of the runtime, in ISO 8859-1, in UTF-8. Every byte has a character.
std::string latin1_as_utf8(std::string_view bytes);

#pragma GCC visibility pop

}  // namespace marigold
