// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/data_fatal.h"

#include <cstdio>
#include <string>

#include "runtime/core/current_operation.h"
#include "runtime/core/terminal_text.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
void data_fatal(const char* name, int error) {
  user_interface().hand_terminal_back();
  const std::string shown =
      error_text(*name == '\0' ? current_operation() : name, LineEnds::kShown);
  std::fprintf(stderr, "\nstr: %s\n", shown.c_str());
  raise_fatal(error < kFirstBeyondSystem ? kSystemErrorOffset + error : error);
}

}  // namespace marigold::inner
