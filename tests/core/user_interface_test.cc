#include "runtime/core/user_interface.h"

#include <gtest/gtest.h>

#include <array>

namespace marigold {
namespace {

TEST(UserInterfaceTest, TheDefaultWritesAndTakesTheSafeAnswer) {
  user_interface_start();
  const std::array<const char*, 2> answers = {"back", "try again"};
  testing::internal::CaptureStderr();
  user_interface().warning("warned");
  user_interface().message("told", "_HELP_");
  EXPECT_EQ(user_interface().choose("asked", answers, "_HELP_"), 0);
  user_interface().hand_terminal_back();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "warned\ntold\nasked\n");
}

TEST(UserInterfaceTest, FatalEndsTheProcessEvenWhenTheReportReturns) {
  EXPECT_EXIT(raise_fatal(34), testing::KilledBySignal(SIGABRT), "^system error 34\n$");
  user_interface().fatal = [](int /*number*/) {};
  EXPECT_EXIT(raise_fatal(34), testing::KilledBySignal(SIGABRT), "^$");
  user_interface_start();
}

}  // namespace
}  // namespace marigold
