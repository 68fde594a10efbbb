// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/status_file.h"

#include <regex>

#include "runtime/core/settings.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

const std::regex kHeader(
    "^PROGRAMM =invoice\nDATUM    =[0-3]\\d-[01]\\d-2\\d{3}\nUHRZEIT  =[0-2]\\d:[0-5]\\d:[0-6]\\d\n");

struct StatusFileTest : testing::Test {
  StatusFileTest() { settings_read(); }
  ~StatusFileTest() override { status_start(); }
  // Returns the file without its header, which must be right.
  static std::string events() { return std::regex_replace(read_file("pstatus.tmp"), kHeader, ""); }

  WorkDirectory directory;
};

TEST_F(StatusFileTest, PathEventsAreWrittenAsTheyHappen) {
  status_path_event(12, true, "archive");  // before the file is open: kept, not written
  status_path_event(3, true, "orders");
  status_open("invoice");
  EXPECT_EQ(events(), "");  // the application keeps no path locks
  open_subsystems().path_locks = true;
  status_open("invoice");
  status_path_event(3, false, "orders");
  status_path_event(5, true, "unnamed");
  status_path_event(6, true, "stock");
  status_path_event(31, true, "none such");
  status_path_event(-1, true, "none such");
  EXPECT_EQ(
      events(),
      "LOCKPATH = 3\nLOCKPATH =12: archive\nFREEPATH = 3\nLOCKPATH = 5\nLOCKPATH = 6: stock\n");
}

// A second program in the directory gets a file of its own.
TEST_F(StatusFileTest, AStartMakesTheFileAgain) {
  write_file("victim", "precious\n");
  std::filesystem::create_hard_link("victim", "pstatus.tmp");
  for (int start = 0; start < 2; ++start) {
    status_open("invoice");
    EXPECT_TRUE(open_subsystems().status_file);
    status_close();
    EXPECT_EQ(events(), "EXIT     =OK\n");
    EXPECT_EQ(read_file("victim"), "precious\n");
  }
  status_open("orders");
  std::filesystem::rename("pstatus.tmp", "gone");
  write_file("pstatus.tmp", "other\n");
  status_close();
  EXPECT_EQ(read_file("pstatus.tmp"), "other\n");
}

TEST_F(StatusFileTest, TheEndIsWrittenOnce) {
  status_open("first");  // left without an end
  status_open("invoice");
  status_close();
  status_close_with_error(17);
  status_path_event(1, false, "");
  EXPECT_EQ(events(), "EXIT     =OK\n");
  status_open("invoice");
  status_close_with_error(17);  // no path is held, but no path locks are kept
  EXPECT_EQ(events(), "EXIT     =ERROR\nFEHLER   =  17\n");
}

TEST_F(StatusFileTest, AnErrorWithoutALockedPathIsHarmless) {
  for (const bool held : {false, true}) {
    open_subsystems().path_locks = true;
    status_open("invoice");
    status_path_event(2, held, "");
    status_close_with_error(1002);
    EXPECT_EQ(events(), held ? "LOCKPATH = 2\nEXIT     =ERROR\nFEHLER   =1002\n"
                             : "FREEPATH = 2\nEXIT     =PATH_OK\nFEHLER   =1002\n");
  }
}

TEST_F(StatusFileTest, AFileThatCannotBeMadeIsNoTrouble) {
  std::filesystem::create_directory("pstatus.tmp");
  status_open("invoice");
  EXPECT_FALSE(open_subsystems().status_file);
  status_path_event(1, true, "");
  status_close();
}

}  // namespace marigold::inner::test
