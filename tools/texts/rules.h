// SPDX-License-Identifier: GPL-3.0-or-later
// Rules for texts: for one text, for a file, and for a translation of a reference.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/texte/code_set.h"
#include "tools/texts/po_file.h"

namespace marigold::inner {

struct Finding {
  std::string_view rule;  // a word for programs that read findings
  std::string file;
  int line = 0;
  std::string id;
  std::string message;  // names the id if necessary
};
using Findings = std::vector<Finding>;

// Checks the texts of one file: length and characters in the code set, directives and escapes,
// system texts against the catalogue, chains without gaps. Entries without a text count as absent,
// and so do fuzzy ones unless `use_fuzzy` is set.
void check_texts(const PoFile& file, const CodeSet& code_set, bool use_fuzzy, Findings& findings);

// Checks a reference: each entry without a text is a finding.
void check_reference(const PoFile& file, bool use_fuzzy, Findings& findings);

// Checks a translation: missing and surplus ids, texts that are still those of the reference's
// language, and directives that use their arguments in another way.
void check_translation(const PoFile& reference, const PoFile& file, bool use_fuzzy,
                       Findings& findings);

}  // namespace marigold::inner
