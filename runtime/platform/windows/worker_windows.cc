// SPDX-License-Identifier: GPL-3.0-or-later
#include <system_error>

#include "runtime/platform/worker.h"

namespace marigold::inner {

bool Worker::start() {
  if (thread_.joinable() || refused_) return !refused_;
  try {
    thread_ = std::thread([this] { work(); });
  } catch (const std::system_error&) {
    refused_ = true;
  }
  return !refused_;
}

}  // namespace marigold::inner
