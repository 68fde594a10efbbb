// SPDX-License-Identifier: GPL-3.0-or-later
// The system message catalogue: the words of the screen and of error reports that languages
// translate. Messages with a fixed wording stand in the modules that print them.
//
// One variable for each entry of catalogue.def, named by its key: `systxt_` for words of the
// screen, `syschr_` for answer keys (a single character), `syserr_` for texts of system errors. The
// variables hold the built-in English texts from the start of the process. sysmsg_init replaces
// them by those of the language, which its text database has under "SYSDEF." and the key.
#pragma once

#include <span>
#include <string_view>

#include "runtime/texte/txt.h"

namespace marigold::inner {

// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared stands without them
#define SYSTEM_TEXT(key, text) extern SystemText key;
#define SYSTEM_CHARACTER(key, text) extern char key;
#include "runtime/texte/catalogue.def"
// NOLINTEND(bugprone-macro-parentheses)

// Fills all entries from the text database of the settings' language. Call it once at start-up,
// after the settings are read. An entry that the database lacks takes its built-in text; without a
// database all entries do. Reports nothing about missing entries. Cuts texts at 255 characters.
void sysmsg_init();

// An entry of the catalogue. One of `text` and `character` is set.
struct CatalogueEntry {
  const char* key;
  SystemText* text;
  char* character;
  std::string_view built_in;
};

// Returns all entries, in the order of the catalogue.
std::span<const CatalogueEntry> sysmsg_entries();

// Returns the entry with this key, or null.
const CatalogueEntry* sysmsg_entry(std::string_view key);

}  // namespace marigold::inner
