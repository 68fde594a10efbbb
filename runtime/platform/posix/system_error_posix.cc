// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/system_error.h"

#include <system_error>

namespace marigold::inner {

std::string system_error_text(int result) {
  return std::generic_category().message(system_number(result));
}

}  // namespace marigold::inner
