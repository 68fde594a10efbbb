// SPDX-License-Identifier: GPL-3.0-or-later
// The charset of a PO file, and how a file in one of the old multi-byte charsets is made readable.
//
// In BIG5, Shift JIS, ISO-2022-JP and others the second byte of a character may be the number of an
// ASCII character, of a quote or a backslash too. A reader that goes by bytes stumbles over them.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/texte/code_set.h"

namespace marigold {

class PoCharset {
 public:
  // Any name that the converter knows. A suffix for the converter is none.
  bool open(const std::string& name);

  [[nodiscard]] const std::string& name() const { return name_; }

  // Whether bytes inside its characters look like ASCII.
  [[nodiscard]] bool hides_ascii() const { return hides_ascii_; }

  // Bytes as UTF-8. The position of the first byte that is no text of the charset, or npos. Where
  // the charset hides ASCII a byte 92 alone is a backslash, as everyone means it, although Shift
  // JIS has a yen sign in its place.
  std::size_t to_utf8(std::string_view bytes, std::string& text) const;

  // Puts escapes (\244\110) in the place of all bytes of a file that are no ASCII characters, but
  // in comments, so that its strings mean the same to a reader that goes by bytes. The position of
  // the first byte that is no text of the charset, or npos.
  std::size_t escape(std::string_view file, std::string& escaped) const;

 private:
  void find_other_ascii();
  bool escape_line(std::string_view line, std::string& escaped) const;

  std::string name_;
  CharacterConversion to_utf8_;
  CharacterConversion from_utf8_;
  bool hides_ascii_ = false;
  std::vector<std::pair<std::string, char>> other_ascii_;  // what stands at an ASCII byte instead
};

// The charset that the file's header names; empty when there is none. The header is not parsed: the
// first word behind "charset=" outside a comment.
std::string po_charset_named(std::string_view file);

// The number of the line, from 1, in which a position of a file lies.
int po_line_at(std::string_view file, std::size_t position);

}  // namespace marigold
