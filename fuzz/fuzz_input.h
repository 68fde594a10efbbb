// SPDX-License-Identifier: GPL-3.0-or-later
// What the fuzzers share: their inputs are lines, and a promise that does not hold is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::fuzz {

// The lines of an input without their line ends; always at least one.
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

// The stack that the fuzzer prints tells which promise it was.
inline void require(bool promise) {
  if (!promise) std::abort();
}

}  // namespace marigold::fuzz
