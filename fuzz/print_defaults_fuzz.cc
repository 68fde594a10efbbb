// SPDX-License-Identifier: GPL-3.0-or-later
// Printer defaults of any bytes: give lines with errors, or values within the promised lengths.

#include "fuzz/fuzz_input.h"
#include "runtime/print/output/print_defaults.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  marigold::inner::PrintDefaults defaults;
  const auto errors = marigold::inner::print_defaults_scan(text, defaults);
  bool right = defaults.pitch_10.size() <= marigold::inner::kLongestPitchText &&
               defaults.pitch_12.size() <= marigold::inner::kLongestPitchText &&
               defaults.pitch_17.size() <= marigold::inner::kLongestPitchText &&
               defaults.bold_on.size() <= marigold::inner::kLongestBoldText &&
               defaults.bold_off.size() <= marigold::inner::kLongestBoldText &&
               (defaults.today.empty() || defaults.today.size() == 10) &&
               defaults.page_limit >= 0 && defaults.page_limit_first_line >= 0;
  int before = 0;
  for (const auto& [line, reason] : errors) {
    right = right && line > before && !reason.empty();
    before = line;
  }
  marigold::inner::fuzz::require(right);
  return 0;
}
