// SPDX-License-Identifier: GPL-3.0-or-later
// Exit statuses and messages of the tool.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner {

enum ExitStatus {
  kExitClean = 0,
  kExitFindings = 1,  // the work is done, and there is a finding for its owner
  kExitUnusable = 2,  // wrong usage, unreadable input, output that cannot be written
};

// Messages, one a line, without line ends; each begins with the file that it is about.
using Problems = std::vector<std::string>;

// Writes one line to standard error. On a terminal, makes control characters in it visible, line
// ends included, because they come from files and from the command line.
void report(std::string_view line);

// Writes every problem, and returns the exit status for unusable input.
int report_unusable(const Problems& problems);

// Names the file that the command works on from now on; report_failure names it in its message.
void working_on(std::string_view path);

// Reports the exception that ends the command, mostly lack of memory, and returns the exit status.
int report_failure(const std::exception& failure);

// Returns the beginning of a message about a line: "german.po:12: ".
std::string at_line(std::string_view file, int line);

// Returns "1 text", "2 texts".
std::string counted(std::size_t number, std::string_view noun);

// Writes the requested output to standard output (write_visible) and returns `status`. If that
// fails, reports it and returns kExitUnusable.
int write_output(std::string_view bytes, int status);

}  // namespace marigold::inner
