#include "runtime/core/status_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "runtime/core/settings.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

struct StatusFileTest : testing::Test {
  StatusFileTest() {
    settings_read();
    status_start();
  }
  static std::string content() { return test::read_file("pstatus.tmp"); }
  // What follows the three lines of the header.
  static std::string events() {
    const std::string whole = content();
    std::size_t start = 0;
    for (int line = 0; line < 3; ++line)
      start = whole.find('\n', start) + 1;
    return whole.substr(start);
  }
  test::WorkDirectory directory;
};

TEST_F(StatusFileTest, TheHeaderNamesProgramAndStart) {
  status_open("invoice");
  EXPECT_TRUE(std::regex_match(content(), std::regex("PROGRAMM =invoice\n"
                                                     "DATUM    =[0-3]\\d-[01]\\d-2\\d{3}\n"
                                                     "UHRZEIT  =[0-2]\\d:[0-5]\\d:[0-6]\\d\n")))
      << content();
}

TEST_F(StatusFileTest, PathEventsAreWrittenAsTheyHappen) {
  status_path_event(12, true, "archive");  // before the file is open: kept, not written
  status_path_event(3, true, "orders");
  open_subsystems().path_locks = true;
  status_open("invoice");
  EXPECT_EQ(events(), "LOCKPATH = 3\nLOCKPATH =12: archive\n");
  status_path_event(3, false, "orders");
  status_path_event(7, true, "stock");
  status_path_event(31, true, "none such");
  status_path_event(-1, true, "none such");
  status_path_event(12, false, "archive");
  EXPECT_EQ(
      events(),
      "LOCKPATH = 3\nLOCKPATH =12: archive\nFREEPATH = 3\nLOCKPATH = 7: stock\nFREEPATH =12: archive\n");
}

TEST_F(StatusFileTest, TheEndIsWrittenOnce) {
  status_open("invoice");
  status_close();
  status_close_with_error(17);
  status_path_event(1, true, "");
  EXPECT_EQ(events(), "EXIT     =OK\n");
  status_open("invoice");
  status_open("second");  // the first one is left without an end
  status_close_with_error(17);
  EXPECT_EQ(events(), "EXIT     =ERROR\nFEHLER   =  17\n");
}

TEST_F(StatusFileTest, AnErrorWithoutALockedPathIsHarmless) {
  open_subsystems().path_locks = true;
  status_open("invoice");
  status_path_event(2, true, "");
  status_path_event(2, false, "");
  status_close_with_error(1002);
  EXPECT_EQ(events(), "LOCKPATH = 2\nFREEPATH = 2\nEXIT     =PATH_OK\nFEHLER   =1002\n");
  open_subsystems().path_locks = true;
  status_path_event(2, true, "");
  status_open("invoice");
  status_close_with_error(1002);
  EXPECT_EQ(events(), "LOCKPATH = 2\nEXIT     =ERROR\nFEHLER   =1002\n");
}

TEST_F(StatusFileTest, AFileThatCannotBeMadeIsNoTrouble) {
  std::filesystem::create_directory("pstatus.tmp");
  status_open("invoice");
  EXPECT_FALSE(open_subsystems().status_file);
  status_path_event(1, true, "");
  status_close();
}

}  // namespace
}  // namespace marigold
