// SPDX-License-Identifier: GPL-3.0-or-later
// A file that a command reads a line at a time.
#pragma once

#include <cstddef>
#include <fstream>
#include <istream>
#include <string>

namespace marigold {

// False with the problem, also for a directory.
bool open_input(const std::string& path, std::ifstream& file, std::string& problem);

// The longest line or row, in bytes. A device or a damaged file can be one line without end,
// and would be taken into memory until there is none left; nothing that people write by hand or
// that a list prints comes near it.
inline constexpr std::size_t kLongestLine = std::size_t{16} << 20;

// The same of lines that are records of this length: with their field's name, and as escapes, bytes
// take at most 32 each.
std::size_t longest_line_of(int record_length);

enum class LineRead {
  kLine,
  kEnd,      // also when reading fails: the stream is bad then
  kTooLong,  // reading cannot go on
};

// The next line, without its end; the last one may lack it.
LineRead read_line(std::istream& input, std::size_t longest, std::string& line);

// "the line is longer than 16777216 bytes"
std::string too_long(std::size_t longest);

}  // namespace marigold
