// SPDX-License-Identifier: GPL-3.0-or-later
// What the author's and operator's tool says to its caller: exit statuses and messages.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace marigold {

enum ExitStatus {
  kExitClean = 0,
  kExitFindings = 1,  // the work was done, and something was found that its owner should see
  kExitUnusable = 2,  // bad usage, input that cannot be read, output that cannot be written
};

// Complaints, one a line, without line ends; each begins with the file that it is about.
using Problems = std::vector<std::string>;

// Writes one line to standard error. On a terminal control characters in it are made visible, line
// ends included: they come from files and from the command line.
void report(std::string_view line);

// Writes every problem, and returns the exit status for unusable input.
int report_unusable(const Problems& problems);

// Names the file that the command works on from now on: report_failure blames it.
void working_on(std::string_view path);

// Reports the exception that ends the command, mostly for want of memory, and returns the exit
// status.
int report_failure(const std::exception& failure);

// The beginning of a message about a place: "german.po:12: ".
std::string at_line(std::string_view file, int line);

// "1 text", "2 texts".
std::string counted(std::size_t number, std::string_view noun);

// Writes the answer to standard output (write_visible) and returns the given status. If it cannot
// be written, reports that and returns kExitUnusable.
int write_output(std::string_view bytes, int status);

}  // namespace marigold
