// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/windows/console_events_windows.h"

#include <atomic>
#include <csignal>

#include "runtime/platform/passing_files.h"
#include "runtime/wi/console/windows/console_hold_windows.h"

namespace marigold::inner {
namespace {

// Milliseconds for the system to end a process that has given the console back.
constexpr DWORD kEndMilliseconds = 1000;

// Bytes of the stack for the handler of a fault, if the stack itself has overflowed.
constexpr ULONG kFaultStack = 64 * 1024;

using SignalHandler = void (*)(int);

struct State {
  bool installed = false;
  SignalHandler former_abort = SIG_DFL;
  LPTOP_LEVEL_EXCEPTION_FILTER former_fault = nullptr;
  HANDLE wake = nullptr;
  std::atomic<bool> is_ending = false;
};
constinit State state;

// Runs in a thread of the system; the next handler decides what follows.
BOOL WINAPI on_event(DWORD event) {
  static_cast<void>(event);
  state.is_ending = true;
  console_restore(ConsoleEnd::kSudden);
  SetEvent(state.wake);
  return FALSE;
}

void on_abort(int signal) {
  const SignalHandler former = state.former_abort;
  console_restore(ConsoleEnd::kSudden);
  std::signal(signal, former);
  if (former == SIG_DFL) return passing_files_remove();
  if (former != SIG_IGN) former(signal);
}

LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
  const auto former = state.former_fault;
  console_restore(ConsoleEnd::kSudden);
  const LONG action = former != nullptr ? former(fault) : EXCEPTION_CONTINUE_SEARCH;
  if (action == EXCEPTION_CONTINUE_SEARCH) passing_files_remove();  // a handler may go on
  return action;
}

}  // namespace

void events_install() {
  if (state.wake == nullptr) state.wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  if (state.installed) return;
  state.installed = true;
  ULONG stack = kFaultStack;
  SetThreadStackGuarantee(&stack);
  SetConsoleCtrlHandler(on_event, TRUE);
  state.former_abort = std::signal(SIGABRT, on_abort);
  state.former_fault = SetUnhandledExceptionFilter(on_fault);
}

void events_remove() {
  if (!state.installed) return;
  state.installed = false;
  SetConsoleCtrlHandler(on_event, FALSE);
  // Handlers that the program has set since stay.
  if (const SignalHandler now = std::signal(SIGABRT, state.former_abort); now != on_abort)
    std::signal(SIGABRT, now);
  if (const auto now = SetUnhandledExceptionFilter(state.former_fault); now != on_fault)
    SetUnhandledExceptionFilter(now);
}

void events_await_end() {
  if (state.is_ending.exchange(false)) Sleep(kEndMilliseconds);
}

HANDLE events_wake_handle() {
  return state.wake;
}

}  // namespace marigold::inner
