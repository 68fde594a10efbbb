// SPDX-License-Identifier: GPL-3.0-or-later
// The display lines of a list, read by their numbers, and a line as the screen shows it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "runtime/platform/record_file.h"
#include "runtime/print/output/display_record.h"

namespace marigold {

// Lines have numbers from 1. Results: 0 for done, else the system's error number.
class ViewerFile {
 public:
  // Takes an open file, which outlives it; ENOENT for one that is not. Bytes behind the last whole
  // record do not count.
  int open(const RecordFile& file);
  // Where the output was given up and not even that could be written, this stands for the file.
  void show_disk_full();

  [[nodiscard]] std::int64_t lines() const { return lines_; }
  // As many records as there is room for, or as there are from this line on: that is `count`. On
  // failure it is 0.
  int read(std::int64_t first, std::span<DisplayRecord> records, std::size_t& count) const;

 private:
  const RecordFile* file_ = nullptr;
  std::int64_t lines_ = 0;
};

// The text without the switches.
struct VisibleLine {
  std::array<char, kDisplayColumns> text;
  std::array<bool, kDisplayColumns> highlighted;
  std::size_t length = 0;

  [[nodiscard]] std::string_view view() const { return {text.data(), length}; }
};

void visible_line(const DisplayRecord& record, VisibleLine& line);

}  // namespace marigold
