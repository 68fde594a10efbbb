// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/posix/size_limit_posix.h"

#include <csignal>

namespace marigold::inner {
namespace {

struct State {
  bool is_handled = false;
};
constinit State state;

}  // namespace

void survive_size_limit() {
  struct sigaction action {};
  if (state.is_handled || sigaction(SIGXFSZ, nullptr, &action) != 0) return;
  if (action.sa_handler != SIG_DFL) return;
  // A handler instead of SIG_IGN, because programs that this one starts would inherit SIG_IGN.
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  state.is_handled = sigaction(SIGXFSZ, &action, nullptr) == 0;
}

}  // namespace marigold::inner
