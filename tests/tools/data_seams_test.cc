// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data with half a file, another process, another version and another set.

#include <fstream>

#include "runtime/core/settings.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/process.h"
#include "tests/tools/data_seams_support.h"

namespace marigold::inner::test {

TEST_F(DataSeamsTest, HalfAPairIsNoMissingFile) {
  load_three();
  run_shell("cp -r data whole; rm data/1/BOX.idx");
  const std::string refused =
      "./data/1/BOX.idx: is missing; \"marigold data rebuild BOX\" rebuilds it from ./data/1/BOX.dat\n";
  expect({{"load BOX four.csv", "", refused, 2},
          {"load BOX four.csv --replace", "", refused, 2},
          {"rebuild BOX", kLoaded + "3 records\n"},
          {"load BOX four.csv", kLoaded + "1 record loaded\n"}});
  EXPECT_EQ(numbers(), "1 2 3 4 ");
  run_shell("rm -r data; mv whole data; rm data/1/BOX.dat");
  expect({{"load BOX four.csv", "",
           "./data/1/BOX.dat: is missing, and ./data/1/BOX.idx holds no records; restore both "
           "from a backup\n",
           2}});
}

TEST_F(DataSeamsTest, RecordsOfAnotherVersionAreRefused) {
  load_three();
  expect({{"load SLOTS slots.csv", "./data/2/SLOTS: 1 record loaded\n"}});
  const std::string older =
      ": its records have version 1, ./definitions/FILEBOX.DES defines version ";
  const std::string convert = "; \"marigold data convert\" converts them\n";
  const std::string newer =
      ": its records have version 3, ./definitions/FILEBOX.DES defines version ";
  const std::string take = "; use the definition of that version\n";
  const auto both = [](const std::string& reason) {
    const std::string text = "./data/1/BOX" + reason;
    expect({{"dump BOX", "", text, 2},
            {"load BOX four.csv", "", text, 2},
            {"check BOX", text, "", 1},
            {"rebuild BOX", kLoaded + "3 records\n", text, 1}});
  };
  write_file("data/1/BOX.ver", "1\n");
  both(older + "2" + convert);
  write_file("data/1/BOX.ver", "3\n");
  both(newer + "2" + take);
  write_file("data/2/SLOTS.ver", "0.5\n");
  const std::string slots =
      "./data/2/SLOTS: its records have version 0.5, ./definitions/FILEBOX.DES defines version 1" +
      convert;
  expect({{"dump SLOTS", "", slots, 2},
          {"load SLOTS slots.csv --replace", "", slots, 2},
          {"check SLOTS", slots, "", 1}});
  // Without a version record the definition counts.
  std::filesystem::remove("data/1/BOX.ver");
  EXPECT_EQ(numbers(), "1 2 3 ");
}

TEST_F(DataSeamsTest, AClassGetsItsVersionWhenTheFilesOfAllSetsHaveTheirs) {
  const auto set = [](const std::string& name, const std::string& version) {
    return "BEGINFILE NAME " + name + " VERSION " + version +
           " PATH 4 LEN 20 TYPE ISAM BEGINFIELD FIELD NUMBER TYPE INT PREVAL NIL ENDFIELD "
           "BEGINKEY KEY 1 SEGMENT 1 IS NUMBER ENDKEY ENDFILE END.";
  };
  for (const char* name : {"A", "B"}) {
    write_file("definitions/FILE"s + name + ".DES", set(name, "1"));
    write_file("line.csv", "NUMBER\n1\n");
    EXPECT_EQ(run_shell("./marigold data load "s + name + " line.csv").status, 0);
    run_shell("mv definitions/FILE"s + name + ".DES definitions/FILE" + name + "_1.DES");
    write_file("definitions/FILE"s + name + ".DES", set(name, "2"));
  }
  write_file("definitions/FILEVER.DES", "A 1 2 0 B 1 2 0 END.");
  write_file("definitions/PATHVER.DES", "PATH 4 2 END.");
  const std::string one = ": 1 -> 2, 1 record\n";
  expect(
      {{"convert A", "./data/4/A" + one,
        "./data/4/PATHCONV.ver: not written, as ./data/4/B has version 1 and not version 2\n", 1}});
  EXPECT_FALSE(std::filesystem::exists("data/4/PATHCONV.ver"));
  expect({{"convert B", "./data/4/B" + one}});
  EXPECT_EQ(read_file("data/4/PATHCONV.ver"), "2\n");
}

TEST_F(DataSeamsTest, WhatARebuildLosesIsToldAndKept) {
  write_file("forty.csv", box_numbers(1, 40));
  expect({{"load BOX forty.csv", kLoaded + "40 records loaded\n"}});
  // The header has 4,096 bytes; 12 slots of 56 bytes and a part of one follow.
  run_shell("cp data/1/BOX.dat whole; truncate -s 4800 data/1/BOX.dat; cp data/1/BOX.dat cut");
  const std::string lost = kLoaded + "12 records, 28 lost; the damaged file stays as ";
  expect({{"check BOX", kLoaded + "is damaged, or no keyed file\n", "", 1},
          {"rebuild BOX", lost + "./data/1/BOX.damaged.dat\n", "", 1},
          {"check BOX", kLoaded + "12 records, no damage\n"},
          {"rebuild BOX", kLoaded + "12 records\n"}});
  EXPECT_EQ(run_shell("cmp cut data/1/BOX.damaged.dat").status, 0);
  // A torn record; the copy from before belongs to its owner.
  std::fstream file("data/1/BOX.dat", std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(4096 + 20).write("torn", 4);
  file.close();
  expect({{"rebuild BOX",
           kLoaded + "11 records, 1 lost; the damaged file stays as ./data/1/BOX.damaged-2.dat\n",
           "", 1}});
}

// A killed program leaves the placeholder of a lock on a record that was never written.
TEST_F(DataSeamsTest, PlaceholdersAreNoRecords) {
  load_three();
  know_the_files();
  DataFile& file = data_file("BOX");
  ASSERT_EQ(data_open(file, LockWait::kTell), kDataDone);
  data_put_long(file, "NUMBER", 9);
  EXPECT_EQ(data_read(file, 1, true, LockWait::kTell), kDataNotFound);
  data_close(file);
  expect({{"check BOX", kLoaded + "3 records, no damage\n"}});
  EXPECT_NE(run_shell("./marigold data info BOX").out.find("records   3\n"), std::string::npos);
}

TEST_F(DataSeamsTest, LeftoversAreNamedAndTheNextRunRemovesThem) {
  load_three();
  const std::string word = "0123456789abcdef";
  for (const std::string& name : {".BOX." + word + ".dat", ".BOX.idx." + word, ".BOX.ver." + word})
    write_file("data/1/" + name, "left");
  run_shell("touch -d '2 minutes ago' data/1/.*");
  const std::string named = kLoaded + "left by a run that was killed: ./data/1/.BOX.";
  expect({{"check BOX",
           named + word + ".dat\n" + named + "idx." + word + "\n" + named + "ver." + word + "\n",
           "", 1}});
  run_shell("echo NUMBER > none.csv; rm data/1/BOX.*");
  expect({{"load BOX none.csv", kLoaded + "0 records loaded\n"},
          {"check BOX", kLoaded + "0 records, no damage\n"}});
  write_file("data/1/BOX.converting.dat", "left");
  expect({{"check BOX", kLoaded + "left by an interrupted conversion; run it again to finish it\n",
           "", 1}});
}

TEST_F(DataSeamsTest, NumbersFarBeyondTheEndNeedForce) {
  write_file("far.csv", "SNR,T\n1,a\n1000002,b\n");
  const std::string refused =
      "far.csv:3: SNR=1000002 lies far beyond the end of the file, which would become as long; "
      "--force takes it\nmarigold: 1 line rejected, nothing loaded\n";
  expect({{"load SLOTS far.csv", "", refused, 1},
          {"load SLOTS far.csv --force", "./data/2/SLOTS: 2 records loaded\n"}});
  EXPECT_EQ(std::filesystem::file_size("data/2/SLOTS"), 8 * 1000002U);
}

TEST_F(DataSeamsTest, AClassThatIsTakenIsNotWrittenInto) {
  load_three();
  setenv("IS_MULTIUSER", "TRUE", 1);
  settings_read();
  path_lock_start();
  ASSERT_EQ(path_lock_exclusive(1), kDataDone);
  for (const char* command : {"load BOX four.csv", "rebuild BOX", "recover BOX", "compact BOX"}) {
    const Finished run = run_shell("timeout 20 ./marigold data "s + command);
    EXPECT_EQ(run.status, 2) << command;
    EXPECT_EQ(run.err, "./data/1: the directory is locked: process " +
                           std::to_string(process_number()) + " on " + host_name() +
                           ", exclusive\n");
  }
  path_lock_release_all();
  expect({{"load BOX four.csv", kLoaded + "1 record loaded\n"}});
  unsetenv("IS_MULTIUSER");
  settings_read();
}

}  // namespace marigold::inner::test
