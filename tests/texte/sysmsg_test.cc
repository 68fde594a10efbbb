// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/sysmsg.h"

#include <algorithm>

#include "tests/support/support.h"

namespace marigold::inner::test {

static std::ptrdiff_t changed_entries() {
  return std::ranges::count_if(sysmsg_entries(), [](const CatalogueEntry& entry) {
    return entry.text != nullptr ? entry.text->view() != entry.built_in
                                 : std::string(1, *entry.character) != entry.built_in;
  });
}

TEST(SysmsgTest, TheCatalogueIsFilledFromTheStartOfTheProcess) {
  EXPECT_EQ(sysmsg_entries().size(), 136U);
  EXPECT_EQ(changed_entries(), 0);
  EXPECT_EQ(systxt_filelock.view(), " file lock active         ");
  EXPECT_EQ(systxt_nxtpage.view(), "next     page");
  EXPECT_EQ(systxt_convhead.view(), "File:           Path:     Old:      New:      ");
  EXPECT_EQ(syserr_67.view(), "dat: Namedid in CriticalPath is different");
  EXPECT_EQ(syschr_yes, 'y');
}

TEST(SysmsgTest, OnlyPrefixedRecordsReplaceEntries) {
  const WorkDirectory directory;
  const std::string long_text(300, 'x');
  // clang-format off
  write_textdb("textdb", {
      {"SYSDEF.systxt_ok", "Ja"}, {"SYSDEF.systxt_back", long_text}, {"systxt_quit", "?"},
      {"SYSDEF.none", "?"}, {"SYSDEF.syschr_yes", "ja"}, {"SYSDEF.syschr_no", ""}});
  // clang-format on
  setenv("LANGUAGE_SEARCHPATH", "./%N", 1);
  txt_start();
  sysmsg_init();
  EXPECT_EQ(systxt_ok.view(), "Ja");
  EXPECT_EQ(syschr_yes, 'j');
  EXPECT_EQ(syschr_no, '\0');
  EXPECT_EQ(systxt_back.view(), long_text.substr(0, 255));
  EXPECT_EQ(changed_entries(), 4);
  // The database was closed: the next one opened gets its slot.
  EXPECT_EQ(txt_open("another language", "textdb"), 0);
  setenv("LANGUAGE_SEARCHPATH", "./nowhere/%N", 1);
  txt_start();
  sysmsg_init();  // back to the built-in texts
}

}  // namespace marigold::inner::test
