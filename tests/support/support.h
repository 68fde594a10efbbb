// SPDX-License-Identifier: GPL-3.0-or-later
// What most tests need: the test framework, the way to files, a directory of their own, text
// databases by an independent writer, captured messages, and running a program.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace marigold::test {

using std::string_literals::operator""s;

// Makes a new directory the current one; gone with all that is in it at the end of the test.
struct WorkDirectory {
  WorkDirectory();
  explicit WorkDirectory(const std::string& parent);
  ~WorkDirectory();

  std::string path;
};

using Records = std::vector<std::pair<std::string, std::string>>;

// Writes PATH.pag and PATH.dir with Perl's own interface to the store, and the directories above
// them. Keys and values get a zero byte, or what else is to stand behind them.
void write_textdb(const std::string& path, const Records& records,
                  const std::string& behind = std::string(1, '\0'));

void write_file(const std::string& path, const std::string& content);
std::string read_file(const std::string& path);

// What a call writes to standard error.
template <typename Call>
std::string errors_of(Call call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

// A shell command line and what came of it. Output that it redirects itself is not in here.
struct Finished {
  std::string command_line;
  std::string out = "";
  std::string err = "";
  int status = 0;  // exit status; 128 + the signal's number when one ended it
};
Finished run_shell(const std::string& command_line);

// Runs the program for each row: with these words, and this has to come of it.
void expect_runs(const std::string& program, std::initializer_list<Finished> rows);

}  // namespace marigold::test
