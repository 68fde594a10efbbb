#include "runtime/texte/syserr.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/sysmsg.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

TEST(SyserrTest, NumbersShareTextsByRange) {
  struct Row {
    int number;
    const char* text;
  };
  const Row rows[] = {
      {1, "dat: file not found"},         {69, "wisys: unable to initialize color pair"},
      {70, "unknown error code"},         {99, "unknown error code"},
      {100, "isam: unrecoverable error"}, {999, "isam: unrecoverable error"},
      {1000, "unrecoverable UNIX error"}, {9999, "unrecoverable UNIX error"},
      {10000, "unknown error code"},      {0, "unknown error code"},
      {-1, "unknown error code"}};
  for (const Row& row : rows) {
    SystemText text;
    syserr_text(text, row.number);
    EXPECT_EQ(text.view(), row.text) << row.number;
  }
}

TEST(SyserrTest, TheReportHasFiveLinesBoundedByTheirPlace) {
  testing::internal::CaptureStderr();
  syserr_show(12);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "error\n        12\ndat: unable to write file version info\n"
      "please document this error message and contact\nsoftware support for additional advice.\n");
  const SystemText saved[] = {syserr_error, syserr_12, syserr_txt1, syserr_txt2};
  for (SystemText* text : {&syserr_error, &syserr_12, &syserr_txt1, &syserr_txt2}) {
    text->assign_cut(std::string(80, 'x'));
  }
  testing::internal::CaptureStderr();
  syserr_show(12);
  const auto line = [](std::size_t length) { return std::string(length, 'x') + "\n"; };
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            line(6) + "        12\n" + line(60) + line(58) + line(57));
  syserr_error = saved[0];
  syserr_12 = saved[1];
  syserr_txt1 = saved[2];
  syserr_txt2 = saved[3];
}

TEST(SyserrTest, FatalWritesTheStatusHandsTheTerminalBackAndAborts) {
  const test::WorkDirectory directory;
  settings_read();
  syserr_start();
  user_interface().hand_terminal_back = [] { test::write_file("terminal", "back"); };
  EXPECT_EXIT(
      {
        status_open("program");
        raise_fatal(38);
      },
      testing::KilledBySignal(SIGABRT), "^error\n        38\nst: string too long\n");
  EXPECT_NE(test::read_file("pstatus.tmp").find("EXIT     =ERROR\nFEHLER   =  38\n"),
            std::string::npos);
  EXPECT_EQ(test::read_file("terminal"), "back");
  status_open("program");
  testing::internal::CaptureStderr();
  syserr_report(1);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr().rfind("error\n         1\ndat: file not found\n", 0),
      0U);
  EXPECT_NE(test::read_file("pstatus.tmp").find("EXIT     =OK\n"), std::string::npos);
  user_interface_start();
}

}  // namespace
}  // namespace marigold
