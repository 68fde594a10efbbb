// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/data_fatal.h"

#include <cstdio>
#include <string>

#include "runtime/core/current_operation.h"
#include "runtime/core/terminal_text.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_path.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

std::string engine_reason(int error) {
  return error != 0 && error == iserrno ? isreason() : "";
}

void data_fatal(const char* name, int error) {
  user_interface().hand_terminal_back();
  const std::string reason = engine_reason(error);
  const std::string shown = *name == '\0' ? current_operation() : data_path_shown(name);
  std::fprintf(stderr, "\nstr: %s\n", error_text(shown, LineEnds::kShown).c_str());
  if (!reason.empty()) std::fprintf(stderr, "%s\n", error_text(reason, LineEnds::kKept).c_str());
  raise_fatal(error < kFirstBeyondSystem ? kSystemErrorOffset + error : error);
}

}  // namespace marigold::inner
