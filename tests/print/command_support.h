// SPDX-License-Identifier: GPL-3.0-or-later
// Printer commands that are children of the test.
#pragma once

#include <cstdio>
#include <string>

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

}  // namespace marigold::inner::test
