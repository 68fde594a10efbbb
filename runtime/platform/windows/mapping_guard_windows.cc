// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/mapping_guard.h"

#include <io.h>

namespace marigold::inner {

// The system cuts no mapped file, so no page of one is missing.
MappingGuard::MappingGuard(LibraryFile file) : file_(file), size_(_filelengthi64(file)) {}

MappingGuard::~MappingGuard() = default;

bool MappingGuard::meet_missing_page(void* at) {
  static_cast<void>(at);
  return false;
}

bool MappingGuard::was_hit() {
  return false;
}

bool MappingGuard::file_is_shorter() const {
  return _filelengthi64(file_) < size_;
}

}  // namespace marigold::inner
