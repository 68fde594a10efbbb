// SPDX-License-Identifier: GPL-3.0-or-later
#include "command/output.h"

#include <algorithm>

#include "runtime/platform/stream.h"

namespace marigold::inner {

void Output::write(std::string_view bytes) {
  if (bytes.size() > kCapacity - used_) flush();
  if (bytes.size() >= kCapacity) {
    if (failure_ == 0) failure_ = deliver(bytes);
    return;
  }
  std::copy(bytes.begin(), bytes.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(used_));
  used_ += bytes.size();
}

void Output::flush() {
  if (failure_ == 0 && used_ > 0) failure_ = deliver({buffer_.data(), used_});
  used_ = 0;
}

void Output::fail(int error) {
  flush();
  if (failure_ == 0) failure_ = error;
}

int StandardOutput::deliver(std::string_view bytes) {
  return stream_write(Stream::kOutput, bytes);
}

}  // namespace marigold::inner
