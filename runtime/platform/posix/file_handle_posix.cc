// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/file_handle.h"

#include <unistd.h>

#include "runtime/platform/system_error.h"

namespace marigold::inner {

int FileHandle::close_value(std::intptr_t value) {
  return ::close(static_cast<int>(value)) == 0 ? 0 : system_error();
}

}  // namespace marigold::inner
