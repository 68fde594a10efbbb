// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/console_size.h"

#include <cstdio>

namespace marigold::inner {

std::string size_message(ConsoleSize size) {
  char message[80];
  const int length =
      std::snprintf(message, sizeof message, "The terminal has %d x %d, needed: %d x %d",
                    size.columns, size.rows, kScreenColumns, kScreenRows);
  return {message, static_cast<std::size_t>(std::clamp(size.columns, 0, length))};
}

}  // namespace marigold::inner
