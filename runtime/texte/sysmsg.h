// The system message catalogue: the words of the screen and of error reports that languages
// translate. Messages of single modules that the contract words stand where they are printed.
//
// One variable for each entry of catalogue.def, named by its key: `systxt_` words of the screen,
// `syschr_` answer keys (a single character), `syserr_` texts of system errors. They hold the
// built-in English texts from the start of the process; sysmsg_init puts those of the language in
// their place, which stand in its text database under "SYSDEF." and the key.
#pragma once

#include <span>
#include <string_view>

#include "runtime/texte/txt.h"

namespace marigold {

// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared stands without them
#define SYSTEM_TEXT(key, text) extern SystemText key;
#define SYSTEM_CHARACTER(key, text) extern char key;
#include "runtime/texte/catalogue.def"
// NOLINTEND(bugprone-macro-parentheses)

// Fills all entries from the text database of the settings' language. Called once at start-up,
// after the settings are read. An entry that the database lacks, or all of them without a database,
// takes its built-in text; nothing is reported. Texts are cut at 255 characters.
void sysmsg_init();

// What the catalogue knows of an entry. One of `text` and `character` is set.
struct CatalogueEntry {
  const char* key;
  SystemText* text;
  char* character;
  std::string_view built_in;
};

// All entries, in the order of the catalogue.
std::span<const CatalogueEntry> sysmsg_entries();

// The entry with this key, or null.
const CatalogueEntry* sysmsg_entry(std::string_view key);

}  // namespace marigold
