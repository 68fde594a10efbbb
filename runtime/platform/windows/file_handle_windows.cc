// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/file_handle.h"

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

int FileHandle::close_value(std::intptr_t value) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return CloseHandle(reinterpret_cast<HANDLE>(value)) != 0 ? 0 : windows_error();
}

}  // namespace marigold::inner
