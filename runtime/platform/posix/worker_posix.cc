// SPDX-License-Identifier: GPL-3.0-or-later
#include <signal.h>

#include <system_error>

#include "runtime/platform/worker.h"

namespace marigold::inner {

// Blocks all signals while it starts the thread, because a thread begins with the signal mask of
// its starter.
bool Worker::start() {
  if (thread_.joinable() || refused_) return !refused_;
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    thread_ = std::thread([this] { work(); });
  } catch (const std::system_error&) {
    refused_ = true;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return !refused_;
}

}  // namespace marigold::inner
