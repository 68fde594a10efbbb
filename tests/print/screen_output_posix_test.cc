// SPDX-License-Identifier: GPL-3.0-or-later
// The temporary files of a list's screen output where something else has their names, and when a
// signal ends the process, or does not; and on a full disk.

#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "runtime/core/user_interface.h"
#include "runtime/print/output/screen_output.h"
#include "tests/print/size_limit.h"
#include "tests/support/posix/fork.h"
#include "tests/support/process.h"
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

TEST(ScreenOutputPosixTest, AFullDiskLeavesOneLine) {
  const WorkDirectory directory;
  user_interface_start();
  const std::string message = "DISKETTE/LAUFWERK VOLL: BEIM ERSTELLEN DER TEMPOR[REN DATEIEN !!!";
  const struct {
    rlim_t limit;
    std::size_t bytes;  // for the printer
    int lines;          // for the display
  } cases[] = {
      {100000, 200000, 1},  // the printer's bytes, during printing
      {100000, 10, 1000},   // the display
      {1000, 2000, 1},      // at the end
      {1000, 10, 4},
  };
  for (const auto& [limit, bytes, lines] : cases) {
    ASSERT_EQ(screen_output_start(), 0);
    EXPECT_FALSE(screen_output_disk_full());
    const SizeLimit in_force(limit);
    screen_output_bytes(std::string(bytes, 'b'));
    for (int line = 0; line < lines; ++line) {
      screen_output_text(std::string(100, 'w'));
      screen_output_end_line();
    }
    screen_output_bytes("more");
    screen_output_end();
    EXPECT_TRUE(screen_output_disk_full()) << limit << " " << bytes;
    EXPECT_EQ(screen_output_width(), 78);
    EXPECT_EQ(read_file("VIDEO.TMP"), message + std::string(250 - message.size(), ' ') + " \r\n");
    EXPECT_TRUE(std::filesystem::is_empty("DRUCK.TMP"));
  }
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

// A second program has its files in a directory of its own, which goes at its end too.
TEST(ScreenOutputPosixTest, AStopTakesTheDirectoryAlong) {
  const WorkDirectory directory;
  std::filesystem::create_directory("tmp");
  setenv("TMPDIR", "tmp", 1);
  RecordFile first;
  ASSERT_EQ(first.create("VIDEO.TMP") + first.lock(kFirstLock, 1, true), 0);
  const auto run = [] {
    screen_output_start();
    if (std::filesystem::is_empty("tmp")) std::_Exit(1);
    ask_to_stop();
  };
  EXPECT_EQ(run_child(run), kStopped);
  EXPECT_TRUE(std::filesystem::is_empty("tmp"));
  unsetenv("TMPDIR");
}

}  // namespace
}  // namespace marigold::inner::test
