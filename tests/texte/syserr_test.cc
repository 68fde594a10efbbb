// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/syserr.h"

#include <csignal>

#include "runtime/core/settings.h"
#include "runtime/core/status_file.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/passing_files.h"
#include "runtime/texte/sysmsg.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(SyserrTest, NumbersShareTextsByRange) {
  const std::pair<int, const char*> rows[] = {
      {-1, "unknown error code"},         {0, "unknown error code"},
      {1, "dat: file not found"},         {69, "wisys: unable to initialize color pair"},
      {70, "unknown error code"},         {99, "unknown error code"},
      {100, "isam: unrecoverable error"}, {999, "isam: unrecoverable error"},
      {1000, "unrecoverable UNIX error"}, {9999, "unrecoverable UNIX error"},
      {10000, "unknown error code"}};
  for (const auto& [number, expected] : rows) {
    SystemText text;
    syserr_text(text, number);
    EXPECT_EQ(text.view(), expected) << number;
  }
}

TEST(SyserrTest, TheReportIsBoundedByThePlaceOfItsLines) {
  const auto show_long_texts = [] {
    for (SystemText* text : {&syserr_error, &syserr_unknown, &syserr_txt1, &syserr_txt2})
      text->assign_cut(std::string(80, 'x'));
    syserr_show(-2147483647 - 1);
    std::_Exit(0);
  };
  std::string report = "^xxxxxx\n-2147483648\n";
  for (const std::size_t length : {60, 58, 57})
    report += std::string(length, 'x') + "\n";
  EXPECT_EXIT(show_long_texts(), testing::ExitedWithCode(0), report + "$");
}

TEST(SyserrTest, FatalWritesTheStatusHandsTheTerminalBackAndAborts) {
  const WorkDirectory directory;
  settings_read();
  syserr_start();
  user_interface().hand_terminal_back = [] { std::fputs("terminal back\n", stderr); };
  EXPECT_EXIT(raise_fatal(38), aborted,
              "^terminal back\nerror\n        38\nst: string too long\nplease .*\nsoft.*\\.\n$");
  const auto fatal_with_a_passing_file = [] {
    std::signal(SIGABRT, [](int) {});  // like the handler of a held console, which gives it back
    settings_read();
    syserr_start();
    status_open("program");
    write_file("passing", "of a customer");
    passing_file_note("passing");
    std::signal(SIGABRT, SIG_DFL);
    raise_fatal(38);
  };
  EXPECT_NE(run_child(fatal_with_a_passing_file), 0);
  EXPECT_FALSE(std::filesystem::exists("passing"));
  EXPECT_TRUE(read_file("pstatus.tmp").ends_with("EXIT     =ERROR\nFEHLER   =  38\n"));
  status_open("program");
  EXPECT_TRUE(errors_of([] {
                syserr_report(1);
              }).starts_with("terminal back\nerror\n         1\ndat: file"));
  EXPECT_TRUE(read_file("pstatus.tmp").ends_with("EXIT     =OK\n"));
  user_interface_start();
}

}  // namespace marigold::inner::test
