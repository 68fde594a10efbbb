// SPDX-License-Identifier: GPL-3.0-or-later
#include <signal.h>

#include <system_error>
#include <utility>

#include "runtime/platform/worker.h"

namespace marigold::inner {

// Blocks all signals while it starts the thread, because a thread begins with the signal mask of
// its starter.
std::thread quiet_thread(std::function<void()> body) {
  std::thread thread;
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    thread = std::thread(std::move(body));
  } catch (const std::system_error&) {  // the thread is not joinable
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace marigold::inner
