// SPDX-License-Identifier: GPL-3.0-or-later
// Reads the display lines of a list by their numbers, and turns them into lines of the screen.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "runtime/platform/record_file.h"
#include "runtime/print/output/display_record.h"

namespace marigold::inner {

// Lines have numbers from 1. Results: 0 for done, else the system's error number.
class ViewerFile {
 public:
  // Takes an open file, which outlives this object; ENOENT for a closed one. Bytes after the last
  // whole record do not count.
  int open(const RecordFile& file);
  // Shows the line about a full disk in place of the file, if the output could not even write that
  // line.
  void show_disk_full();

  [[nodiscard]] std::int64_t lines() const { return lines_; }
  // Reads as many records from this line on as there are, or as have room, and gives their number
  // in `count`; on a failure 0.
  int read(std::int64_t first, std::span<DisplayRecord> records, std::size_t& count) const;

 private:
  const RecordFile* file_ = nullptr;
  std::int64_t lines_ = 0;
};

// A line without its switches.
struct VisibleLine {
  std::array<char, kDisplayColumns> text;
  std::array<bool, kDisplayColumns> highlighted;
  std::size_t length = 0;

  [[nodiscard]] std::string_view view() const { return {text.data(), length}; }
};

void visible_line(const DisplayRecord& record, VisibleLine& line);

}  // namespace marigold::inner
