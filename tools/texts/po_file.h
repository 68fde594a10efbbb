// SPDX-License-Identifier: GPL-3.0-or-later
// Texts in PO files, the form in which translators edit them: the message id is the id of the text,
// the translation is the text. Inside the tool both are UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/common/report.h"

namespace marigold {

struct PoEntry {
  std::string id;
  std::string text;
  int line = 0;              // where the text stands in its file
  bool fuzzy = false;        // marked as not yet sure
  bool meant_empty = false;  // the comment "empty": an empty text is one, not a missing translation
  bool meant_same = false;   // the comment "same": a translation may be the text of the reference
  std::vector<std::string> comments =
      {};  // of authors and translators, a line each, without their "#"

  // An empty text without the mark is a translation that is still to be made.
  [[nodiscard]] bool has_text() const { return meant_empty || !text.empty(); }
};

struct PoFile {
  std::string path;
  // In the order of the file; without its header and obsolete entries.
  std::vector<PoEntry> entries;
  std::string language = "";  // as the header names it: "de_AT"; empty when it does not
};

// Reads a PO file. False with at least one problem "FILE:LINE: REASON" when it cannot be read, is
// not well-formed, or holds what a text database cannot: an id twice, contexts, plural forms, other
// domains, zero bytes, or characters that its charset does not have. A file whose header names no
// charset is ASCII.
bool po_load(const std::string& path, PoFile& file, Problems& problems);

// The whole file of these entries, in UTF-8. Every text must be free of zero bytes and of
// kPoSeparator.
std::string po_format(const std::vector<PoEntry>& entries);

// A template of these entries, in UTF-8, for msgmerge and editors: ids with their comments and
// without texts. The text of each is in a comment.
std::string po_template(const std::vector<PoEntry>& entries);

// The one character besides the zero byte that cannot stand in a PO file: it separates context and
// id in compiled files, and readers refuse it.
inline constexpr char kPoSeparator = '\4';

// A text in quotes, its control characters as escapes; for PO files and for messages.
std::string po_quote(std::string_view text);

}  // namespace marigold
