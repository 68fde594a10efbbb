// SPDX-License-Identifier: GPL-3.0-or-later
// Where "marigold lists print" prints beside the printer and the screen: text files and PDF.
//
// Process-wide, one of them at a time. A file is put in place when the list has been printed.
#pragma once

#include <string>

#include "runtime/print/output/output_channel.h"

namespace marigold {

// Text in UTF-8: lines as they look on paper, without blanks at their ends, a form feed behind each
// page in the place of its last empty lines. An empty path is standard output. Null with the
// reason.
const OutputDevice* text_sink_open(const std::string& path, std::string& reason);

// Where something does not fit on the paper: page, line and column from 1, and how many characters
// of the line from there on are not to be seen.
struct BeyondPage {
  int page = 0;
  int line = 0;
  int column = 0;
  std::size_t characters = 0;
};

// PDF in Courier on A4, in the list's pitches and bold, with as many lines on a page as the list
// has. An empty path is standard output. Calls `beyond` for each line that passes the right edge.
// Null with the reason.
const OutputDevice* pdf_sink_open(const std::string& path, void (*beyond)(const BeyondPage& place),
                                  std::string& reason);

// Why the target that was opened last has not got everything; "" when it has. After its close.
const std::string& print_sink_problem();

}  // namespace marigold
