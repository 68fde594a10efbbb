// SPDX-License-Identifier: GPL-3.0-or-later
// The file that a list is printed into, process-wide: what the text and the PDF target write.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

// An empty path is standard output. False with the reason.
bool print_file_open(const std::string& path, std::string& reason);
// After a failure, or when print_file_fail has told one, nothing more is written.
void print_file_write(std::string_view bytes);
void print_file_fail(std::string_view reason);
// Puts the file in place unless something failed. 0, or 1: print_sink_problem tells.
int print_file_close();

}  // namespace marigold
