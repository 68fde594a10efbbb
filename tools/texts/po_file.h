// SPDX-License-Identifier: GPL-3.0-or-later
// Texts in PO files, the form in which translators edit them: the message id is the id of the text,
// the translation is the text. Inside the tool both are UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/common/report.h"

namespace marigold::inner {

// Comments of authors that mean something; see PoEntry.
inline constexpr std::string_view kMeantEmpty = "empty";
inline constexpr std::string_view kMeantSame = "same";

struct PoEntry {
  std::string id;
  std::string text;
  int line = 0;              // line of the text in its file
  bool fuzzy = false;        // marked as uncertain
  bool meant_empty = false;  // the comment "empty": the text is empty, not missing
  bool meant_same = false;   // the comment "same": the text may equal the reference's
  std::vector<std::string> comments =
      {};  // of authors and translators, a line each, without their "#"

  // An empty text without the mark is a missing translation.
  [[nodiscard]] bool has_text() const { return meant_empty || !text.empty(); }
};

struct PoFile {
  std::string path;
  // In the order of the file; without its header and obsolete entries.
  std::vector<PoEntry> entries;
  std::string language = "";  // from the header: "de_AT"; empty without one
};

// Reads a PO file. Returns false and at least one problem "FILE:LINE: REASON" when the file cannot
// be read, is not well-formed, or has something that a text database cannot hold: an id twice,
// contexts, plural forms, other domains, zero bytes, or characters that its charset lacks. A file
// whose header names no charset is ASCII.
bool po_load(const std::string& path, PoFile& file, Problems& problems);

// Returns a whole file with these entries, in UTF-8. No text may have zero bytes or kPoSeparator.
std::string po_format(const std::vector<PoEntry>& entries);

// Returns a template with these entries, in UTF-8, for msgmerge and editors: ids with their
// comments and without texts. A comment gives the text of each id.
std::string po_template(const std::vector<PoEntry>& entries);

// The one character besides the zero byte that a PO file cannot hold: it separates context and id
// in compiled files, and readers refuse it.
inline constexpr char kPoSeparator = '\4';

// Returns a text in quotes, with control characters as escapes; for PO files and for messages.
std::string po_quote(std::string_view text);

}  // namespace marigold::inner
