// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data info, check, rebuild and locks as operators run them, and their search for a file.

#include "runtime/core/settings.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/process.h"
#include "tests/tools/data_support.h"

namespace marigold::inner::test {
namespace {

using DataInfoTest = DataToolTest;

const std::string kFields =
    "file      BOX, defined in ./definitions/FILEBOX.DES\n"
    "path      ./data/1/BOX.dat, .idx\n"
    "record    40 bytes, 31 of them in fields\n"
    "fields    NUMBER    LONGINT               at 0\n"
    "          NAME      STRING 4 TIMES 2      at 4\n"
    "          KIND      CHAR                  at 12\n"
    "          RATE      REAL                  at 13\n"
    "          DAY       DATE                  at 21\n"
    "          AT        TIME                  at 25\n"
    "          SIZE      INT                   at 29\n"
    "keys      1  NUMBER\n"
    "          2  NAME, SIZE\n";

void load_three() {
  write_file("three.csv", box_numbers(1, 3));
  EXPECT_EQ(run_shell("./marigold data load BOX three.csv").status, 0);
}

std::string bytes_of(const std::string& path) {
  return std::to_string(std::filesystem::file_size(path));
}

TEST_F(DataInfoTest, ShowsWhatTheFileIsAndHolds) {
  const std::string nothing = "version   2 defined, none written\nclass 1   not locked\n";
  expect({{"info BOX", kFields + "records   the file does not exist\n" + nothing}});
  load_three();
  const int file = ISOPEN("data/1/BOX", kIsInputOutput | kIsExclusive);
  std::string record(40, '\0');
  isst_int4(2, record.data());
  EXPECT_EQ(ISDELETE(file, record.data()), 0);
  write_file("data/1/BOX.ver", "1.5\n");
  const std::string version =
      "version   2 defined, 1.5 written\nbackup    never\nclass 1   not locked\n";
  expect({{"info BOX",
           kFields + "records   another process has the file open exclusively\n" + version}});
  ISCLOSE(file);
  expect(
      {{"info BOX", kFields + "records   2\ndeleted   1, 56 bytes\nsize      " +
                        bytes_of("data/1/BOX.dat") + " bytes and " + bytes_of("data/1/BOX.idx") +
                        " of indexes\npages     1 % full on average; levels of the keys' trees: 1, "
                        "1\n" +
                        version}});
  const Finished json = run_shell("./marigold data info BOX --json");
  for (const char* part :
       {"{\"file\":\"BOX\",\"type\":\"ISAM\",", "\"keys\":[[\"NUMBER\"],[\"NAME\",\"SIZE\"]]",
        "\"records\":2,\"deleted\":1,\"deleted_bytes\":56,", "\"depths\":[1,1]",
        "\"last_backup\":null,\"class\":1", "\"version\":2,\"version_written\":1.5,",
        "{\"name\":\"NAME\",\"type\":\"STRING\",\"size\":4,\"times\":2,\"offset\":4}"})
    EXPECT_NE(json.out.find(part), std::string::npos) << part << json.out;
}

TEST_F(DataInfoTest, FindsTheDefinitionOrSaysWhyNot) {
  load_three();
  const std::string set = read_file("definitions/FILEBOX.DES");
  const std::string first = set.substr(0, set.find("BEGINFILE NAME SLOTS"));
  write_file("definitions/FILEVER.DES", first + "END.");
  write_file("definitions/FILEBOX_1.DES", first + "END.");
  write_file("definitions/FILEODD.DES", "BEGINFIL NAME ODD VERSON\n");
  write_file("elsewhere.DES", first + "END.");
  const std::string clean = "./data/1/BOX: 3 records, no damage\n";
  const std::string none = "no set in ./definitions defines it\n";
  expect(
      {{"check BOX", clean},
       {"check BOX --set elsewhere.DES", clean},
       {"check BOX --set BOX --path data/1/BOX.dat", "data/1/BOX: 3 records, no damage\n"},
       {"check BOX SLOTS NONE", clean,
        "./data/2/SLOTS: No such file or directory\n./definitions/FILEODD.DES:1: has errors, see "
        "marigold data scan\nNONE: " +
            none,
        2},
       {"check SLOTS --set elsewhere.DES", "", "SLOTS: elsewhere.DES does not define it\n", 2},
       {"check CHAIN", "", "CHAIN: chained files cannot be opened\n", 2},
       {"check BOX SLOTS --path x", "", "marigold: --path is for one file\n", 2},
       {"check BOX --set NONE", "", "./definitions/FILENONE.DES: No such file or directory\n", 2}});
  write_file("definitions/FILETWO.DES", first + "END.");
  expect({{"check BOX", "",
           "BOX: defined by ./definitions/FILEBOX.DES and "
           "./definitions/FILETWO.DES, name one of them with --set\n",
           2}});
  setenv("DEFINITION_DIRECTORY", "nowhere", 1);
  expect({{"check BOX", "", "nowhere: No such file or directory\n", 2}});
  unsetenv("DEFINITION_DIRECTORY");
  std::filesystem::remove("definitions/FILETWO.DES");
  // A program would refuse such a file.
  write_file("longer.DES", first.substr(0, first.find("LEN 40")) + "LEN 41" +
                               first.substr(first.find("LEN 40") + 6) + "END.");
  const std::string misfit = "./data/1/BOX: its record length is 40, the definition has 41\n";
  expect({{"check BOX --set ./longer.DES", misfit, "", 1},
          {"dump BOX --set ./longer.DES", "", misfit, 2},
          {"load BOX --set ./longer.DES three.csv", "", misfit, 2},
          {"rebuild BOX --set ./longer.DES", "./data/1/BOX: 3 records\n", misfit, 1}});
}

TEST_F(DataInfoTest, DamageIsFoundAndIndexesAreMadeAnew) {
  load_three();
  const std::string good = read_file("data/1/BOX.idx");
  const std::string records = run_shell("./marigold data dump BOX").out;
  std::string bent = good;
  for (std::size_t at = 4096; at < bent.size(); at += 64)
    bent[at] = static_cast<char>(bent[at] + 1);
  for (const std::string& index : {bent, good.substr(0, 5000), "junk"s, ""s}) {
    write_file("data/1/BOX.idx", index);
    if (index.empty()) std::filesystem::remove("data/1/BOX.idx");
    const Finished run = run_shell("./marigold data check BOX");
    EXPECT_EQ(run.status, 1) << run.out << run.err;
    EXPECT_EQ((run.out + run.err).substr(0, 14), "./data/1/BOX: ") << run.out << run.err;
    expect({{"rebuild BOX", "./data/1/BOX: 3 records\n"},
            {"check BOX", "./data/1/BOX: 3 records, no damage\n"},
            {"dump BOX", records}});
  }
  write_file("data/1/BOX.dat", "junk");
  expect(
      {{"rebuild BOX", "",
        "./data/1/BOX.dat: is damaged, or no keyed file; \"marigold data recover BOX\" looks for "
        "whole records in it\n",
        2},
       {"dump BOX", "", "./data/1/BOX: is damaged, or no keyed file\n", 2},
       {"load BOX three.csv", "", "./data/1/BOX: is damaged, or no keyed file\n", 2}});
  EXPECT_EQ(run_shell("./marigold data info BOX | grep records").out,
            "records   not known: is damaged, or no keyed file\n");
}

TEST_F(DataInfoTest, WhatCannotBeReadIsNotMissing) {
  load_three();
  for (const char* path : {"data/1/BOX.ver", "data/1/lock.$$$"}) {
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
  }
  expect_unread_version_and_holders();
  const Finished dump = run_shell("./marigold data dump BOX");
  EXPECT_EQ(dump.status, 2);
  EXPECT_EQ(dump.err.find("./data/1/BOX: its version record cannot be read: "), 0) << dump.err;
  std::filesystem::remove("data/1/BOX.ver");
  std::filesystem::create_directory("data/1/PATHCONV.ver");
  const Finished copy = run_shell("./marigold data copy data/%p far/%p --class 1");
  EXPECT_EQ(copy.status, 2);
  EXPECT_EQ(copy.err.find("data/1/PATHCONV.ver: "), 0) << copy.err;
}

TEST_F(DataInfoTest, ShowsWhoHoldsAClass) {
  setenv("IS_MULTIUSER", "TRUE", 1);
  settings_read();
  std::filesystem::create_directories("data/4");
  expect({{"locks 4"},
          {"locks 5"},
          {"locks 31", "",
           "marigold: CLASS: Value 31 not in range 0 to 30\nRun with --help for the usage.\n", 2}});
  ASSERT_EQ(path_lock_exclusive(4), 0);
  const std::string process = std::to_string(process_number());
  const std::string host = host_name();
  expect({{"locks 4", "process " + process + " on " + host + ", exclusive\n"},
          {"locks 4 --json",
           "{\"process\":" + process + ",\"host\":\"" + host + "\",\"mode\":\"exclusive\"}\n"}});
  path_lock_start();
}

}  // namespace
}  // namespace marigold::inner::test
