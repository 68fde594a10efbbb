// SPDX-License-Identifier: GPL-3.0-or-later
// The tests' own means: a child gets its words as they are, and no failure in it goes unnoticed.

#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

TEST(ChildTest, WordsArriveAsTheyAre) {
  const WorkDirectory directory;
  const auto write = [](const std::string& text, long number, bool flag) {
    write_file("words", text + "|" + std::to_string(number) + (flag ? "y" : "n"));
  };
  for (const std::string text :
       {"", " ", "a b", "\"", "\\", "a\\\"b\\\\", "\\\\ \"", "--child", "\xC3\xBC"}) {
    EXPECT_EQ(run_child(write, text, -1'000'000, true), 0) << text;
    EXPECT_EQ(read_file("words"), text + "|-1000000y");
  }
}

TEST(ChildTest, TheStatusShowsHowAChildEnds) {
  const auto wait_for_ever = [] {
    for (;;)
      sleep_us(100'000);
  };
  const auto wait_too_long = [] {
    end_within(1);
    sleep_us(60'000'000);
  };
  testing::internal::CaptureStdout();
  EXPECT_EQ(run_child([] { EXPECT_EQ(1, 2); }), 1);
  const std::string told = testing::internal::GetCapturedStdout();
  EXPECT_NE(told.find("child_test.cc:"), std::string::npos) << told;
  EXPECT_EQ(run_child([] { return false; }), 1);
  EXPECT_EQ(run_child([] { return true; }), 0);
  EXPECT_EQ(run_child([] { std::_Exit(7); }), 7);
  EXPECT_EQ(run_child([] { die_now(); }), kKilled);
  EXPECT_EQ(run_child(wait_too_long), kTooLate);
  Process running = start_child(wait_for_ever);
  EXPECT_TRUE(running.is_running());
  EXPECT_EQ(running.kill(), kKilled);
  EXPECT_FALSE(running.is_running());
}

}  // namespace
}  // namespace marigold::inner::test
