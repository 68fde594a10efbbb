// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data copy. In the program of a cluster the place of the copies is a cluster.

#include "runtime/isam/common/isam.h"
#include "tests/tools/data_copy_support.h"

namespace marigold::inner::test {

std::string (*new_far_place)() = [] { return "far/%p"s; };
void (*forget_the_killed)() = [] {};

namespace {

// Changes BOX as programs do. What is written later is read later among equal keys, wherever in the
// file it is.
void shuffle() {
  const int box = ISOPEN("data/1/BOX", kIsInputOutput | kIsManualLock);
  std::string record(40, '\0');
  const auto read = [&](int number) {
    isst_int4(number, record.data());
    EXPECT_EQ(ISREAD(box, record.data(), kIsEqual), 0);
  };
  read(1);
  EXPECT_EQ(ISREPLACE(box, record.data()), 0);  // after 3 by the second key
  read(2);
  EXPECT_EQ(ISDELETE(box, record.data()), 0);
  EXPECT_EQ(ISFLUSH(box), 0);
  read(3);
  for (const int number : {9, 8}) {  // one takes the place of 2
    isst_int4(number, record.data());
    EXPECT_EQ(ISWRITE(box, record.data()), 0);
  }
  isst_int4(4, record.data());
  record.back() = 1;  // a placeholder of a killed program
  EXPECT_EQ(ISWRITE(box, record.data()), 0);
  EXPECT_EQ(ISCLOSE(box), 0);
}

TEST_F(DataCopyTest, RecordsAndTheirOrderGoThereAndBack) {
  shuffle();
  write_file("data/1/PATHCONV.ver", "2.5\n");
  expect({{"copy data/%p " + there + "--class 1", far_box + ": 4 records copied\n"},
          {"copy " + there + "back/%p/ --class 1", "back/1/BOX: 4 records copied\n"},
          {"copy back/%p elsewhere BOX", "elsewhere/BOX: 4 records copied\n"}});
  for (const std::string& place : {"./data/%p"s, far, "back/%p"s, "elsewhere"s}) {
    EXPECT_EQ(numbers(place, 1), "1 3 8 9 ") << place;
    EXPECT_EQ(numbers(place, 2), "3 1 9 8 ") << place;
    EXPECT_EQ(run_in(place, "check BOX").out,
              in_place(place, 1, "BOX") + ": 4 records, no damage\n");
  }
  EXPECT_EQ(read_file("back/1/PATHCONV.ver"), "2.5\n");
  EXPECT_EQ(read_file("back/1/BOX.ver"), "2\n");
  EXPECT_FALSE(std::filesystem::exists("elsewhere/PATHCONV.ver"));
}

// The highest number is of a deleted record, and is not given out again.
TEST_F(DataCopyTest, NumbersOfRandomFilesKeepTheirRecords) {
  std::string bytes = read_file("data/2/SLOTS");
  ASSERT_EQ(bytes.size(), 40U);
  bytes.back() = 1;
  write_file("data/2/SLOTS", bytes);
  const std::string far_slots = in_place(far, 2, "SLOTS");
  expect({{"copy data/%p " + there + "SLOTS", far_slots + ": 2 records copied\n"},
          {"copy --json " + there + "back --class 2",
           "{\"file\":\"SLOTS\",\"from\":\"" + far_slots +
               "\",\"to\":\"back/SLOTS\",\"records\":2}\n"}});
  EXPECT_EQ(read_file("back/SLOTS"), bytes);
  write_file("more.csv", "T\nw\n");
  setenv("DATA_DIRECTORY", far.c_str(), 1);
  expect(
      {{"load SLOTS more.csv", far_slots + ": 1 record loaded\n"},
       {"dump SLOTS", "SNR,T\n1,x\n2,y\n6,w\n"},
       {"load SLOTS slots.csv --replace", far_slots + ": 3 records loaded, 2 of them replaced\n"}});
  bytes[3] = 9;  // the number in record 1
  write_file("data/2/SLOTS", bytes);
  expect({{"copy data/%p other SLOTS", "",
           "data/2/SLOTS: record 1 is damaged; \"marigold data check\" reports how\n", 2}});
}

TEST_F(DataCopyTest, WhatIsThereStaysUnlessItIsToBeReplaced) {
  expect({{"copy data/%p " + there + "BOX", far_box + ": 3 records copied\n"},
          {"copy data/%p " + there + "BOX", "",
           far_box + ": exists already; --replace replaces it\n", 2}});
  shuffle();
  expect(
      {{"copy data/%p " + there + "--class 1 --replace", far_box + ": 4 records copied\n"},
       {"copy data/%p " + there + "BOX SLOTS", "",
        "marigold: BOX and SLOTS are of different path classes; copy each class by itself\n", 2},
       {"copy data/%p data/1/ BOX", "", "data/1: the files would be copied onto themselves\n", 2},
       {"copy " + there + there + "BOX --replace", "",
        in_place(far, 1, "") + ": the files would be copied onto themselves\n", 2},
       {"copy data/%p " + there + "--class 7", "", "marigold: no file of class 7 is defined\n", 2},
       {"copy none " + there + "BOX", "", "none/BOX: No such file or directory\n", 2},
       {"copy none " + there + "--class 1", "", "none: none of the files of class 1 has any data\n",
        2},
       {"copy data/%p " + there, "", "marigold: copy needs names of files, or --class\n", 2}});
  write_file("data/1/BOX.ver", "1\n");
  const Finished old = run_shell("./marigold data copy data/%p other BOX");
  EXPECT_EQ(old.status, 2);
  EXPECT_NE(old.err.find("its records have version 1"), std::string::npos) << old.err;
  EXPECT_EQ(numbers(far, 2), "3 1 9 8 ");
}

}  // namespace
}  // namespace marigold::inner::test
