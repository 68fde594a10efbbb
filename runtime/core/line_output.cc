#include "runtime/core/line_output.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace marigold {

void line_output_text(int line, int /*column*/, const char* text, int width) {
  const int bound = std::max(0, std::min(width, kLineOutputBound - line));
  const std::size_t length = strnlen(text, static_cast<std::size_t>(bound));
  std::fprintf(stderr, "%.*s\n", static_cast<int>(length), text);
  std::fflush(stderr);
}

void line_output_number(int /*line*/, int /*column*/, int number) {
  std::fprintf(stderr, "%10d\n", number);
  std::fflush(stderr);
}

}  // namespace marigold
