// SPDX-License-Identifier: GPL-3.0-or-later
// The temporary files of a list's screen output where something else has their names, and when a
// signal ends the process, or does not.

#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "runtime/core/user_interface.h"
#include "runtime/print/output/screen_output.h"
#include "tests/support/posix/fork.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

TEST(ScreenOutputPosixTest, WhatIsInTheWayGoes) {
  const WorkDirectory directory;
  user_interface_start();
  ASSERT_EQ(mkfifo("DRUCK.TMP", 0600), 0);  // opening it would wait
  write_file("precious", "kept");
  std::filesystem::create_symlink("precious", "VIDEO.TMP");
  EXPECT_EQ(screen_output_start(), 0);
  screen_output_end();
  EXPECT_EQ(read_file("precious"), "kept");
  EXPECT_TRUE(std::filesystem::is_regular_file("DRUCK.TMP"));
  EXPECT_EQ(screen_output_remove(), 0);
}

void ignore(int /*signal*/) {}

// Leaves files that another program would have made.
void leave_a_file() {
  screen_output_remove();
  std::ofstream("DRUCK.TMP").flush();
  std::ofstream("VIDEO.TMP").flush();
}

void leave_it_to_a_child() {
  run_forked([] { raise(SIGTERM); });
  std::_Exit(0);
}

TEST(ScreenOutputPosixTest, TheEndOfTheProcessTakesTheFilesAlong) {
  const auto dies = [](int status) { return WIFSIGNALED(status); };
  const auto exits = [](int status) { return WIFEXITED(status); };
  const struct {
    void (*handler)(int);
    void (*at_last)();
    bool (*outcome)(int);
    int signal;
    bool left;
  } cases[] = {
      {SIG_DFL, nullptr, dies, SIGINT, false},
      {SIG_DFL, nullptr, dies, SIGTERM, false},
      {SIG_DFL, nullptr, dies, SIGHUP, false},
      {SIG_IGN, nullptr, exits, SIGHUP, true},
      {ignore, nullptr, exits, SIGTERM, true},
      {SIG_DFL, leave_a_file, dies, SIGTERM, true},
      {SIG_DFL, nullptr, dies, SIGABRT, false},
      {SIG_DFL, [] { std::exit(0); }, exits, 0, false},
      {SIG_DFL, leave_it_to_a_child, exits, 0, true},
  };
  const WorkDirectory directory;
  user_interface_start();
  for (const auto& row : cases) {
    const auto run = [&] {
      if (row.signal != 0) std::signal(row.signal, row.handler);
      screen_output_start();
      if (row.at_last != nullptr) row.at_last();
      raise(row.signal);
      std::_Exit(0);
    };
    EXPECT_EXIT(run(), row.outcome, "") << row.signal;
    EXPECT_EQ(std::filesystem::exists("DRUCK.TMP"), row.left) << row.signal;
    EXPECT_EQ(std::filesystem::exists("VIDEO.TMP"), row.left) << row.signal;
  }
}

}  // namespace
}  // namespace marigold::inner::test
