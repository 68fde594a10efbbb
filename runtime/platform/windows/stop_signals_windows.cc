// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/stop_signals.h"

#include <atomic>
#include <cstdlib>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

constexpr int kStoppedStatus =
    static_cast<int>(0xC000013A);  // as the system ends a process at Ctrl-C

struct HoldState {
  std::atomic<int> holds = 0;
  std::atomic<bool> is_waiting = false;
};
constinit HoldState state;

// Runs in a thread of the system. Closing the window, logging off and shutting down end the process
// when the handler returns, so it waits for the release; the system waits for some seconds.
BOOL WINAPI on_event(DWORD event) {
  if (state.holds == 0) return FALSE;
  state.is_waiting = true;
  const bool is_key = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
  while (!is_key && state.holds > 0)
    Sleep(1);
  return TRUE;
}

}  // namespace

void stop_signals_hold() {
  if (state.holds++ > 0) return;
  state.is_waiting = false;
  SetConsoleCtrlHandler(on_event, TRUE);
}

bool stop_signals_pending() {
  return state.is_waiting;
}

void stop_signals_release() {
  if (--state.holds > 0) return;
  SetConsoleCtrlHandler(on_event, FALSE);
  // With what the program does at its exit: the handlers of events have not run.
  if (state.is_waiting.exchange(false)) std::exit(kStoppedStatus);
}

}  // namespace marigold::inner
