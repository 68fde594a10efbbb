// SPDX-License-Identifier: GPL-3.0-or-later
// The options of the command.
#pragma once

#include <span>

namespace marigold {

struct Options {
  bool verbose = false;       // -v
  bool final_newline = true;  // cleared by -n
  // -t. Stored and never used: the texts come from the database opened at start-up whatever it
  // says. Scripts pass it.
  const char* text_file = "COMMONTXT";
  int errors = 0;                // options that were rejected
  std::span<char* const> words;  // what stands behind the options: text id and arguments
};

// Takes the words of the command line, the program's name first. Options end at the first word that
// is none, at "-", or behind "--"; nothing is permuted. What is wrong is counted and, "-?"
// excepted, reported on standard error.
Options options_parse(std::span<char* const> command_line);

}  // namespace marigold
