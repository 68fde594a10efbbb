// SPDX-License-Identifier: GPL-3.0-or-later
#include <system_error>
#include <utility>

#include "runtime/platform/worker.h"

namespace marigold::inner {

std::thread quiet_thread(std::function<void()> body) {
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace marigold::inner
