// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/sysmsg.h"

#include <algorithm>

namespace marigold::inner {

// NOLINTBEGIN(bugprone-macro-parentheses): a name that is declared stands without them
#define SYSTEM_TEXT(key, text) constinit SystemText key{text};
#define SYSTEM_CHARACTER(key, text) constinit char key = *(text);
#include "runtime/texte/catalogue.def"
// NOLINTEND(bugprone-macro-parentheses)

namespace {

#define SYSTEM_TEXT(key, text) {#key, &(key), nullptr, text},
#define SYSTEM_CHARACTER(key, text) {#key, nullptr, &(key), text},
constexpr CatalogueEntry kEntries[] = {
#include "runtime/texte/catalogue.def"
};

}  // namespace

void sysmsg_init() {
  txt_open_sysdef("SYSDEF");
  for (const CatalogueEntry& entry : kEntries) {
    if (entry.text != nullptr) {
      txt_sysdef_text(*entry.text, entry.key, entry.built_in);
    } else {
      txt_sysdef_char(*entry.character, entry.key, entry.built_in.front());
    }
  }
  txt_close_sysdef();
}

std::span<const CatalogueEntry> sysmsg_entries() {
  return kEntries;
}

const CatalogueEntry* sysmsg_entry(std::string_view key) {
  const auto* entry = std::ranges::find(kEntries, key, &CatalogueEntry::key);
  return entry == std::end(kEntries) ? nullptr : entry;
}

}  // namespace marigold::inner
