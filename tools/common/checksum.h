// SPDX-License-Identifier: GPL-3.0-or-later
// SHA-256 checksums of files, by libnettle.
#pragma once

#include <nettle/sha2.h>

#include <functional>
#include <string>
#include <string_view>

#include "runtime/platform/record_file.h"

namespace marigold::inner {

class Checksum {
 public:
  Checksum() { sha256_init(&state_); }
  void add(std::string_view bytes);
  // Returns the checksum as 64 hexadecimal digits and begins the next one.
  std::string take();

 private:
  sha256_ctx state_{};
};

// Passes all bytes of an open file to the function, in order, until the function returns false
// (ECANCELED). Returns 0, or the system's error number.
int read_in_pieces(const RecordFile& file, const std::function<bool(std::string_view)>& take);

}  // namespace marigold::inner
