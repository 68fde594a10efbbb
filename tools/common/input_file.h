// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a command's input file line by line.
#pragma once

#include <cstddef>
#include <fstream>
#include <istream>
#include <string>

namespace marigold::inner {

// Opens a file. Returns false and the problem, also for a directory.
bool open_input(const std::string& path, std::ifstream& file, std::string& problem);

// Greatest length of a line or row, in bytes. A device or a damaged file can be one line without
// end and would fill the memory. No line of a person or of a list comes near this length.
inline constexpr std::size_t kLongestLine = std::size_t{16} << 20;

// Returns the greatest length of a line for a record of this length: with the name of its field and
// as an escape, a byte takes at most 32 bytes.
std::size_t longest_line_of(int record_length);

enum class LineRead {
  kLine,
  kEnd,      // also after a failed read: the stream is bad then
  kTooLong,  // no more lines can be read
};

// Reads the next line, without its line end; the last line may lack one.
LineRead read_line(std::istream& input, std::size_t longest, std::string& line);

// Returns "the line is longer than 16777216 bytes".
std::string too_long(std::size_t longest);

}  // namespace marigold::inner
