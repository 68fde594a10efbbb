#include "runtime/texte/sysmsg.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <set>
#include <string>

#include "tests/support/support.h"

namespace marigold {
namespace {

struct SysmsgTest : testing::Test {
  SysmsgTest() {
    setenv("LANGUAGE_SEARCHPATH", "./%N", 1);
    txt_start();
  }
  ~SysmsgTest() override {  // back to the built-in texts
    setenv("LANGUAGE_SEARCHPATH", "./nowhere/%N", 1);
    txt_start();
    sysmsg_init();
  }
  static int changed_entries() {
    int changed = 0;
    for (const CatalogueEntry& entry : sysmsg_entries()) {
      const std::string value = entry.text != nullptr ? std::string(entry.text->view())
                                                      : std::string(1, *entry.character);
      if (value != entry.built_in) ++changed;
    }
    return changed;
  }
  test::WorkDirectory directory;
};

TEST_F(SysmsgTest, TheCatalogueIsFilledFromTheStartOfTheProcess) {
  EXPECT_EQ(sysmsg_entries().size(), 136U);
  std::set<std::string> keys;
  for (const CatalogueEntry& entry : sysmsg_entries())
    keys.insert(entry.key);
  EXPECT_EQ(keys.size(), 136U);
  EXPECT_EQ(systxt_filelock.view(), " file lock active         ");
  EXPECT_EQ(systxt_filelock.length(), 26U);
  EXPECT_EQ(systxt_no.view(), "NO  ");
  EXPECT_EQ(systxt_nxtpage.view(), "next     page");
  EXPECT_EQ(systxt_convhead.view(), "File:           Path:     Old:      New:      ");
  EXPECT_EQ(systxt_apldefloaderr.view(), "Unable to locate application default file: ");
  EXPECT_EQ(syserr_67.view(), "dat: Namedid in CriticalPath is different");
  EXPECT_EQ(syschr_yes, 'y');
  EXPECT_EQ(changed_entries(), 0);
}

TEST_F(SysmsgTest, OnlyPrefixedRecordsReplaceEntries) {
  test::write_textdb("textdb", {{"SYSDEF.systxt_ok", "Ja"},
                                {"SYSDEF.syschr_yes", "ja"},
                                {"SYSDEF.syschr_no", ""},
                                {"SYSDEF.systxt_back", std::string(300, 'x')},
                                {"systxt_quit", "no prefix"},
                                {"SYSDEF.systxt_unknown", "no entry"}});
  sysmsg_init();
  EXPECT_EQ(systxt_ok.view(), "Ja");
  EXPECT_EQ(syschr_yes, 'j');
  EXPECT_EQ(syschr_no, '\0');
  EXPECT_EQ(systxt_back.view(), std::string(255, 'x'));
  EXPECT_EQ(systxt_quit.view(), "quit");
  EXPECT_EQ(changed_entries(), 4);
  // The database was given back: the next one to open it gets the first slot anew.
  EXPECT_EQ(txt_open(nullptr, "textdb"), 0);
}

}  // namespace
}  // namespace marigold
