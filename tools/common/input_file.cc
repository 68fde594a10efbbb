// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/common/input_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>

#include "runtime/core/new_files.h"
#include "runtime/platform/library_path.h"

namespace marigold::inner {

bool open_input(const std::string& path, std::ifstream& file, std::string& problem) {
  std::error_code unknown;
  errno = 0;
  if (std::filesystem::is_directory(library_path(path), unknown)) errno = EISDIR;
  if (errno == 0) file.open(library_path(path), std::ios::binary);
  if (!file.is_open()) problem = file_error(path, errno);
  return file.is_open();
}

std::size_t longest_line_of(int record_length) {
  constexpr std::size_t kMostPerByte = 32;
  return std::max(kLongestLine, kMostPerByte * static_cast<std::size_t>(record_length));
}

LineRead read_line(std::istream& input, std::size_t longest, std::string& line) {
  constexpr std::size_t kPiece = 512;  // most lines are shorter
  std::array<char, kPiece> piece{};
  line.clear();
  for (;;) {
    input.getline(piece.data(), piece.size());
    const auto count = static_cast<std::size_t>(input.gcount());
    const bool whole = input.good();  // the line's end was read and counted
    line.append(piece.data(), whole ? count - 1 : count);
    if (line.size() > longest) return LineRead::kTooLong;
    if (whole) return LineRead::kLine;
    if (input.eof() || input.bad()) return line.empty() ? LineRead::kEnd : LineRead::kLine;
    input.clear();  // the line is longer than a piece
  }
}

std::string too_long(std::size_t longest) {
  return "the line is longer than " + std::to_string(longest) + " bytes";
}

}  // namespace marigold::inner
