// SPDX-License-Identifier: GPL-3.0-or-later
// Printer commands that are children of the test.
#pragma once

#include <cstdio>
#include <string>

#include "marigold/output.h"
#include "runtime/platform/path.h"
#include "runtime/platform/stream.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// Appends standard input to a file.
inline void keep_input(const std::string& file) {
  stream_start();
  std::string all;
  for (int byte = std::getchar(); byte != EOF; byte = std::getchar())
    all += static_cast<char>(byte);
  write_file(file, read_file(file) + all);
}

// The commands lie in the test's own directory.
inline void search_here() {
  setenv("PATH", (std::string("/usr/bin") + path_list_separator() + ".").c_str(), 1);
}

// A directory for commands, which nothing is open to at the end.
struct CommandTest : testing::Test {
  CommandTest() {
    search_here();
    unsetenv("FAXROOT");
  }
  ~CommandTest() override {
    close_fax();
    close_printer();
  }
  // Returns the error flag.
  static int write(std::string_view bytes) {
    int error_flag = 7;
    write_printer(bytes, error_flag);
    return error_flag;
  }

  const WorkDirectory directory;
};

}  // namespace marigold::inner::test
