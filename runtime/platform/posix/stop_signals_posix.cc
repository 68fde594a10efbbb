// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>

#include "runtime/platform/stop_signals.h"

namespace marigold::inner {
namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

struct HoldState {
  int holds = 0;
  sigset_t held{};
  sigset_t mask_before{};
  struct sigaction size_limit_before {};
};
HoldState state;

bool is_ignored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void stop_signals_hold() {
  if (state.holds++ > 0) return;
  sigemptyset(&state.held);
  for (const int signal : kStopSignals) {
    // An ignored signal (the hang-up under nohup) would also wait if blocked, and look like a wish
    // to stop.
    if (!is_ignored(signal)) sigaddset(&state.held, signal);
  }
  sigprocmask(SIG_BLOCK, &state.held, &state.mask_before);
  struct sigaction ignored {};
  ignored.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignored, &state.size_limit_before);
}

bool stop_signals_pending() {
  sigset_t waiting;
  sigemptyset(&waiting);
  sigpending(&waiting);
  for (const int signal : kStopSignals) {
    if (sigismember(&waiting, signal) == 1 && sigismember(&state.held, signal) == 1) return true;
  }
  return false;
}

void stop_signals_release() {
  if (--state.holds > 0) return;
  sigaction(SIGXFSZ, &state.size_limit_before, nullptr);
  sigprocmask(SIG_SETMASK, &state.mask_before, nullptr);
}

}  // namespace marigold::inner
