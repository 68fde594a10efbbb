// SPDX-License-Identifier: GPL-3.0-or-later
// Counts in findings.
#pragma once

#include <cstdint>
#include <string>

namespace marigold::inner::isam {

// Returns a count with its noun: "1 record", "2 records".
inline std::string count_text(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}
inline std::string records_text(std::uint64_t count) {
  return count_text(count, "record", "records");
}
inline std::string entries_text(std::uint64_t count) {
  return count_text(count, "entry", "entries");
}

}  // namespace marigold::inner::isam
