// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data convert as operators run it.

#include "runtime/core/settings.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/data/definition/definition_set.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

std::string articles(const std::string& version, const std::string& fields) {
  return "BEGINFILE NAME ARTICLES VERSION " + version +
         " PATH 4 LEN 90 TYPE ISAM BEGINFIELD FIELD NUMBER TYPE INT PREVAL NIL\n" + fields +
         " ENDFIELD BEGINKEY KEY 1 SEGMENT 1 IS NUMBER ENDKEY ENDFILE END.";
}

TEST(DataConvertTest, ShowsThePlanConvertsAndExits) {
  const WorkDirectory directory;
  unsetenv("DATA_DIRECTORY");
  unsetenv("DEFINITION_DIRECTORY");
  place_program(MARIGOLD, "marigold");
  std::filesystem::create_directory("definitions");
  write_file(
      "definitions/FILEARTICLES_1.DES",
      articles("1", "FIELD NAME TYPE STRING 20 PREVAL NIL FIELD PRICE TYPE LONGINT PREVAL 0"));
  write_file("definitions/FILEDATA.DES",
             articles("2", "FIELD NAME TYPE STRING 4 PREVAL NIL FIELD STOCK TYPE INT PREVAL 7"));
  write_file("definitions/FILEVER.DES", "ARTICLES 1 2 0 END.");
  write_file("definitions/PATHVER.DES", "PATH 4 2 END.");
  settings_read();
  definition_start();
  definition_set_load("ARTICLES_1");
  ASSERT_EQ(data_open("ARTICLES", LockWait::kTell), kDataDone);
  data_put_text(data_file("ARTICLES"), "NAME", "Schraube");
  ASSERT_EQ(data_write(data_file("ARTICLES")), kDataDone);
  data_close_all();

  const std::string heading = "./data/4: File Conversion Needed, 0 -> 2\n";
  const std::string plan =
      heading +
      "./data/4/ARTICLES: 1 -> 2\n"
      "  1 -> 2: kept NUMBER; changed NAME (STRING 20 to STRING 4); new STOCK; dropped PRICE\n";
  const std::string version = "definitions/FILEARTICLES_1.DES";
  std::filesystem::create_directories("broken");
  write_file("broken/FILEBAD.DES", "\nBEGINFILE NAME X VERSON");
  std::filesystem::create_directory("data/4/PATHCONV.ver");
  expect_runs(
      "./marigold data convert",
      {{"--dry-run DATA", plan, "", 1},
       {"--dry-run --class 5 DATA"},
       {"DATA", "./data/4/ARTICLES: 1 -> 2, 1 record, texts cut in 1 record\n",
        "./data/4/PATHCONV.ver: Is a directory\n", 2},
       {"NONE broken/FILEBAD.DES", "",
        "./definitions/FILENONE.DES: No such file or directory\n"
        "broken/FILEBAD.DES:2: scan: syntax error; \"marigold data scan\" reports all errors\n",
        2},
       {"DATA definitions/FILEDATA.DES", "",
        "definitions/FILEDATA.DES:1: ARTICLES is defined by two sets\n", 2}});
  std::filesystem::remove("data/4/PATHCONV.ver");
  expect_runs("./marigold data convert",
              {{"--dry-run DATA",
                heading + "./data/4/ARTICLES: 2\n"
                          "  left by an interrupted run: to be finished\n",
                "", 1},
               {"--keep-backup DATA"},
               {"--dry-run DATA"}});
  EXPECT_EQ(read_file("data/4/ARTICLES.version-1.ver") + read_file("data/4/PATHCONV.ver"),
            "1\n2\n");
  write_file("data/4/ARTICLES.ver", "3");
  expect_runs(
      "./marigold data convert",
      {{"DATA", "",
        "ARTICLES: convert: file version newer than expected (version 3, the definition has 2)\n",
        1}});
}

}  // namespace
}  // namespace marigold::inner::test
