// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/line_output.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "runtime/core/terminal_text.h"

namespace marigold::inner {

void line_output_text(int line, int /*column*/, const char* text, int width) {
  const long long bound =
      std::clamp<long long>(0LL + kLineOutputBound - line, 0, std::max(width, 0));
  const std::size_t length = strnlen(text, static_cast<std::size_t>(bound));
  std::fprintf(stderr, "%s\n", error_text({text, length}, LineEnds::kShown).c_str());
  std::fflush(stderr);
}

void line_output_number(int /*line*/, int /*column*/, int number) {
  std::fprintf(stderr, "%10d\n", number);
  std::fflush(stderr);
}

}  // namespace marigold::inner
