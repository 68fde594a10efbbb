// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the fuzzers: inputs consist of lines, and a broken promise is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner::fuzz {

// Returns the lines of an input without their line ends; always at least one.
inline std::vector<std::string> split_lines(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> lines(1);
  for (const std::uint8_t byte : std::basic_string_view<std::uint8_t>(data, size)) {
    if (byte == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += static_cast<char>(byte);
    }
  }
  return lines;
}

// The fuzzer's stack trace shows the broken promise.
inline void require(bool promise) {
  if (!promise) std::abort();
}

}  // namespace marigold::inner::fuzz
