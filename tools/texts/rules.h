// SPDX-License-Identifier: GPL-3.0-or-later
// What can be wrong with texts: alone, as a file, and beside the texts of a reference language.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/texte/code_set.h"
#include "tools/texts/po_file.h"

namespace marigold {

struct Finding {
  std::string_view rule;  // a word for programs that read findings
  std::string file;
  int line = 0;
  std::string id;
  std::string message;  // names the id where it is needed
};
using Findings = std::vector<Finding>;

// Rules for the texts of one file: length and characters in the code set, directives and escapes,
// system texts against the catalogue, chains without gaps. Entries without a text, and fuzzy ones
// unless they are wanted, count as absent.
void check_texts(const PoFile& file, const CodeSet& code_set, bool use_fuzzy, Findings& findings);

// A reference lacks no text: entries without one are findings of their own.
void check_reference(const PoFile& file, bool use_fuzzy, Findings& findings);

// Rules for a translation: missing and surplus ids, texts that are still those of the reference's
// language, and directives that take their arguments in another way.
void check_translation(const PoFile& reference, const PoFile& file, bool use_fuzzy,
                       Findings& findings);

}  // namespace marigold
