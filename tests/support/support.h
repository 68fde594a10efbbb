// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by most tests: the test framework, access to files, a directory for each test, text
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

namespace marigold::inner::test {

using std::string_literals::operator""s;

// Makes a new directory the current one; the destructor removes it and its contents.
struct WorkDirectory {
  WorkDirectory();
  explicit WorkDirectory(const std::string& parent);
  ~WorkDirectory();

  std::string path;
};

using Records = std::vector<std::pair<std::string, std::string>>;

// Writes PATH.pag and PATH.dir with an interface to the store that is not ours (Perl's on POSIX),
// and makes missing directories. Appends a zero byte, or `behind`, to keys and values.
void write_textdb(const std::string& path, const Records& records,
                  const std::string& behind = std::string(1, '\0'));

void write_file(const std::string& path, const std::string& content);
std::string read_file(const std::string& path);
// Whether this process has the file of this name in its memory.
bool is_mapped(const std::string& path);
// Whether the system names the process that holds a lock.
bool names_lock_holders();
// Whether nobody but the user of this process has rights to a file or directory.
bool is_private(const std::string& path);
// Lets a file look as if it had been written two minutes ago, also while it is open.
void make_older(const std::string& path);

// Returns the output of a call on standard error.
template <typename Call>
std::string errors_of(Call call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

// A shell command line and its results. Redirected output is not included.
struct Finished {
  std::string command_line;
  std::string out = "";
  std::string err = "";
  int status = 0;  // exit status; 128 + the number of the signal that ended it
};
// Under Wine it is the shell of the system below, which runs placed programs under Wine again.
Finished run_shell(const std::string& command_line);
// What stands before a command line that is one program.
extern const char* const kWithoutShell;

// Makes a program callable as ./NAME in the current directory, for both functions below and above.
void place_program(const std::string& path, const std::string& name);

// Runs the program for each row with the row's words, and expects the row's results. A row without
// pipes and patterns needs no shell.
void expect_runs(const std::string& program, std::initializer_list<Finished> rows);

}  // namespace marigold::inner::test
