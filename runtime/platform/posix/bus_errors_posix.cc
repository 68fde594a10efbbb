// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/posix/bus_errors_posix.h"

#include <cerrno>
#include <csignal>

#include "runtime/platform/mapping_guard.h"
#include "runtime/platform/opened_file.h"

namespace marigold::inner {
namespace {

struct State {
  int watchers = 0;
  bool is_up = false;
  struct sigaction before {};
};
constinit State state;

// Passes the signal to the handler that was there before. Without one the process touches the page
// again and ends, as it would without this file.
void pass_on(int signal, siginfo_t* info, void* context) {
  const bool has_handler = state.before.sa_handler != SIG_DFL && state.before.sa_handler != SIG_IGN;
  if (has_handler && (state.before.sa_flags & SA_SIGINFO) != 0)
    return state.before.sa_sigaction(signal, info, context);
  if (has_handler) return state.before.sa_handler(signal);
  const bool was_sent = info->si_code <= 0;  // by a process, not by a page
  if (was_sent && state.before.sa_handler == SIG_IGN) return;
  sigaction(SIGBUS, &state.before, nullptr);
  state.is_up = false;
  if (was_sent) raise(signal);
}

void on_bus_error(int signal, siginfo_t* info, void* context) {
  const int error = errno;
  const bool is_ours =
      info->si_code == BUS_ADRERR && (OpenedFile::meet_missing_page(info->si_addr) ||
                                      MappingGuard::meet_missing_page(info->si_addr));
  if (!is_ours) pass_on(signal, info, context);
  errno = error;
}

}  // namespace

void bus_errors_watch() {
  if (state.watchers++ > 0 || state.is_up) return;
  struct sigaction action {};
  action.sa_sigaction = on_bus_error;
  // A jump may leave the handler, and the next missing page must reach the handler as well.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  state.is_up = sigaction(SIGBUS, &action, &state.before) == 0;
}

// Called in a forked child before fork returns.
void bus_errors_release() {
  if (--state.watchers > 0 || !state.is_up) return;
  struct sigaction present {};
  if (sigaction(SIGBUS, nullptr, &present) != 0 || present.sa_sigaction != on_bus_error) return;
  sigaction(SIGBUS, &state.before, nullptr);
  state.is_up = false;
}

}  // namespace marigold::inner
