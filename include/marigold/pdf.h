// SPDX-License-Identifier: GPL-3.0-or-later
// Lists as PDF files, for list_to_device (lists.h). A library of its own, marigold-pdf, because it
// needs a PDF library that other programs do not load.
#pragma once

#include <cstddef>
#include <string>

#include "marigold/output.h"

namespace marigold {

#pragma GCC visibility push(default)

// A place from which on a line does not fit on the paper: page, line and column count from 1,
// `characters` is the number of characters that are not visible.
struct BeyondPage {
  int page = 0;
  int line = 0;
  int column = 0;
  std::size_t characters = 0;
};

// Opens the print file (output.h) for a PDF document in Courier on A4: the list's pitches and bold,
// as many lines on a page as the list has. The document is kept in memory until its list is closed.
// An empty path is standard output. Calls `beyond` for each line that passes the right edge. The
// device is valid until its close; like the print file, there is one at a time. Returns null with
// the reason if the file or the document cannot be made.
const OutputDevice* pdf_sink_open(const std::string& path, void (*beyond)(const BeyondPage& place),
                                  std::string& reason);

#pragma GCC visibility pop

}  // namespace marigold
