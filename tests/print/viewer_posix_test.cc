// SPDX-License-Identifier: GPL-3.0-or-later
// The viewer in a terminal, and on a full disk.

#include <algorithm>
#include <csignal>

#include "marigold/application.h"
#include "runtime/print/output/output_choice.h"
#include "tests/print/size_limit.h"
#include "tests/print/viewer_support.h"
#include "tests/support/terminal_session.h"

namespace marigold::inner::test {
namespace {

using ViewerPosixTest = ViewerTest;

TEST_F(ViewerPosixTest, AFullDiskIsShownAndNotPrinted) {
  for (const rlim_t limit : {1000, 100}) {  // also without room for the line about it
    screen_output_start();
    {
      const SizeLimit in_force(limit);
      screen_output_bytes(std::string(2000, 'b'));
      screen_output_end();
    }
    const Recording& screen = view("^4+");
    EXPECT_EQ(screen.text(3, 2, 67),
              "DISKETTE/LAUFWERK VOLL: BEIM ERSTELLEN DER TEMPOR[REN DATEIEN !!!  ");
    EXPECT_EQ(screen.text(24, 1, 59),
              "Cursor-Steuerung  +-=Bl{ttern  */=Seite  F1=Ende           ");
  }
  setenv("COMFAXUSEVT100", "1", 1);  // the console of these tests has no bell
  terminal_reset(&watched_console());
  testing::internal::CaptureStdout();
  recording().type(typed("^4^1"));
  viewer_run({.name = "Kunden", .print = print});
  EXPECT_EQ(std::ranges::count(testing::internal::GetCapturedStdout(), '\a'), 1);
  unsetenv("COMFAXUSEVT100");
  EXPECT_EQ(printer.got, "");
}

// A program in a terminal: asks, makes a list and shows it.
void run_program() {
  terminal_reset(nullptr);
  errors_of([] { runtime_start("print"); });
  if (output_choose_screen()) {
    make_list(9000, 20);
    viewer_run({.name = "Kunden", .page_length = 60});
    screen_output_remove();
  }
  runtime_end();
}

struct ViewerTerminalTest : testing::Test {
  void choose_the_screen() {
    ASSERT_TRUE(session.shows_in_row(13, "Bildschirm"));
    session.type("b\r");
    ASSERT_TRUE(session.shows_in_row(1, "1-1:1-1"));
  }

  WorkDirectory directory;
  TerminalSession session{run_program};
};

TEST_F(ViewerTerminalTest, AListIsChosenShownAndLeft) {
  choose_the_screen();
  session.type("*+\x1b[B");
  EXPECT_TRUE(session.shows_in_row(1, "2-21:81-1"));
  EXPECT_TRUE(session.shows_in_row(3, "line 81"));
  EXPECT_TRUE(session.shows_in_row(22, "line 100"));
  session.type("sLINE 8900\r");
  EXPECT_TRUE(session.shows_in_row(3, "line 8900"));
  session.type("\x1bOP");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
  EXPECT_FALSE(std::filesystem::exists("VIDEO.TMP"));
}

TEST_F(ViewerTerminalTest, ASignalThatEndsItLeavesNothingBehind) {
  choose_the_screen();
  for (const char* file : {"DRUCK.TMP", "VIDEO.TMP"})
    ASSERT_TRUE(std::filesystem::exists(file));
  session.send(SIGHUP);
  EXPECT_EQ(session.outcome(), SIGHUP);
  EXPECT_TRUE(session.restored());
  for (const char* file : {"DRUCK.TMP", "VIDEO.TMP"})
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace marigold::inner::test
