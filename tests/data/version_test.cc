// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/version.h"

#include "runtime/core/settings.h"
#include "tests/data/support.h"

namespace marigold::inner::test {

TEST(VersionTest, NumbersAreWrittenWithoutWhatSaysNothing) {
  for (const char* text : {"0", "3", "7", "12.5", "2.25", "-3", "100", "0.001", "1.23457",
                           "1234567890", "100000000000", "123456789.125"})
    EXPECT_EQ(version_text(std::stod(text)), text);
  EXPECT_EQ(version_text(1e-7), "0");
  EXPECT_EQ(version_text(1.234567), "1.23457");
}

TEST_F(DataTest, AVersionRecordStandsBesideItsFile) {
  const DataFile& file = data_file("CUSTOMER");
  EXPECT_EQ(version_read_file(file), -3);  // none
  const std::string record = version_file_record(data_path(file));
  write_record(record, "12.25\n");
  version_write_file(file, 12.5);
  EXPECT_EQ(read_record(record), "12.5\n");
  EXPECT_EQ(version_read_file(file), 12.5);
  const std::pair<double, std::vector<const char*>> rows[] = {
      {2, {"# old: 1\n\t 2 # now\n"}},
      {7, {"7"}},
      {2.5, {"+2.5"}},
      {-3, {"", "x3", "3x", "#", "-1", "nan", "1e999"}}};
  for (const auto& [expected, contents] : rows) {
    for (const char* content : contents) {
      write_record(record, content);
      EXPECT_EQ(version_read_file(file), expected) << content;
    }
  }
  if (in_cluster()) return;
  std::filesystem::remove("data/4/CUSTOMER.ver");
  std::filesystem::create_directories("data/4/CUSTOMER.ver/in the way");
  EXPECT_EXIT(version_write_file(file, 4), aborted, "^error\n        12\n");
  EXPECT_FALSE(std::filesystem::exists("data/4/CUSTOMER.ver.new"));
}

TEST_F(DataTest, TablesSayWhichVersionFollows) {
  std::filesystem::create_directories("definitions");
  setenv("DEFINITION_DIRECTORY", "definitions", 1);
  settings_read();
  bool flag = true;
  EXPECT_EQ(version_look_up_file("KUNDEN", 1, flag), 1);  // no tables
  EXPECT_FALSE(flag);
  EXPECT_EQ(version_look_up_path(4), -1);
  // The first 8 characters of a long name count; a fault ends the table.
  write_file("definitions/FILEVER.DES",
             "# name old new flag\nKUNDEN 1 2 1\nKUNDEN 1 3 0 KUNDEN 2 4.5 2\n"
             "LIEFERANTEN 0 1 1 KUNDEN 7 x 0 KUNDEN 8 9 0 END.");
  const std::tuple<const char*, double, double, bool> rows[] = {
      {"KUNDEN", 1, 2, true},   {"KUNDEN  ", 2, 4.5, false}, {"KUNDEN", 4.5, 4.5, false},
      {"LIEFERAN", 0, 1, true}, {"LIEFERA", 0, 0, false},    {"KUNDEN", 7, 7, false},
      {"KUNDEN", 8, 8, false}};
  for (const auto& [name, old_version, expected, expected_flag] : rows) {
    EXPECT_EQ(version_look_up_file(name, old_version, flag), expected) << name << old_version;
    EXPECT_EQ(flag, expected_flag) << name << old_version;
  }
  write_file("definitions/PATHVER.DES", "FILE x y PATH 4 2.5 PATHS 5 1\nPATH 4 3 END. PATH 6 1");
  for (const auto& [path_class, expected] : {std::pair{4, 2.5}, {5, -1.}, {6, -1.}})
    EXPECT_EQ(version_look_up_path(path_class), expected);
}

TEST_F(DataTest, ADirectoryHasAVersionRecord) {
  EXPECT_EQ(version_read_path(7), 0);
  data_make_directory(7);
  version_write_path(7, 2.25);
  EXPECT_EQ(read_record(version_path_record(7)), "2.25\n");
  EXPECT_EQ(version_read_path(7), 2.25);
  if (in_cluster()) return;
  EXPECT_EXIT(version_write_path(8, 1), aborted, "^error\n        41\n");
}

}  // namespace marigold::inner::test
