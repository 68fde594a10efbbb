// SPDX-License-Identifier: GPL-3.0-or-later
// The descriptor in a FileHandle.
#pragma once

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

// -1 if no file is open.
inline int descriptor_of(const FileHandle& file) {
  return static_cast<int>(file.value());
}

}  // namespace marigold::inner
