// SPDX-License-Identifier: GPL-3.0-or-later
// The options of the command.
#pragma once

#include <span>

namespace marigold::inner {

struct Options {
  bool verbose = false;       // -v
  bool final_newline = true;  // cleared by -n
  // -t, stored and never used: the texts come from the database that the start opens, whatever the
  // option says. Scripts pass it.
  const char* text_file = "COMMONTXT";
  int errors = 0;                // rejected options
  std::span<char* const> words;  // the words after the options: text id and arguments
};

// Takes the words of the command line, the program's name first. The options end at the first word
// that is no option, at "-", or after "--"; no word is moved. Counts faults and reports each on
// standard error, except "-?".
Options options_parse(std::span<char* const> command_line);

}  // namespace marigold::inner
