// SPDX-License-Identifier: GPL-3.0-or-later
// The charset of a PO file, and the conversion of a file in one of the old multi-byte charsets into
// a readable form.
//
// In BIG5, Shift JIS, ISO-2022-JP and others the second byte of a character may have the number of
// an ASCII character, also of a quote or a backslash. A reader that goes by bytes misreads them.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/texte/code_set.h"

namespace marigold::inner {

class PoCharset {
 public:
  // Opens the charset of any name that the converter knows, but without suffixes for the converter.
  bool open(const std::string& name);

  [[nodiscard]] const std::string& name() const { return name_; }

  // Whether bytes within its characters look like ASCII.
  [[nodiscard]] bool hides_ascii() const { return hides_ascii_; }

  // Converts bytes to UTF-8. Returns the position of the first byte that is no text of the charset,
  // or npos. If the charset hides ASCII, a byte 92 alone is a backslash, as authors mean it,
  // although Shift JIS has a yen sign in its place.
  std::size_t to_utf8(std::string_view bytes, std::string& text) const;

  // Replaces all bytes of a file that are not ASCII characters by escapes (\244\110), except in
  // comments, so that its strings mean the same to a reader that goes by bytes. Returns the
  // position of the first byte that is no text of the charset, or npos.
  std::size_t escape(std::string_view file, std::string& escaped) const;

 private:
  void find_other_ascii();
  bool escape_line(std::string_view line, std::string& escaped) const;

  std::string name_;
  CharacterConversion to_utf8_;
  CharacterConversion from_utf8_;
  bool hides_ascii_ = false;
  std::vector<std::pair<std::string, char>> other_ascii_;  // characters in place of ASCII bytes
};

// Returns the charset that the file's header names; empty without one. Does not parse the header:
// the name is the first word after "charset=" outside a comment.
std::string po_charset_named(std::string_view file);

// Returns the number, from 1, of the line in which a position of a file lies.
int po_line_at(std::string_view file, std::size_t position);

}  // namespace marigold::inner
