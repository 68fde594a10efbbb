// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/posix/console_signals_posix.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <iterator>

#include "runtime/platform/passing_files.h"
#include "runtime/wi/console/posix/console_tty_posix.h"

namespace marigold::inner {
namespace {

void end_process(int signal);
void stop_process(int signal);
void note_signal(int signal);

struct HandledSignal {
  int signal;
  void (*handler)(int);
};
constexpr HandledSignal kSignals[] = {
    {SIGHUP, end_process},   {SIGINT, end_process},  {SIGQUIT, end_process},
    {SIGTERM, end_process},  {SIGABRT, end_process}, {SIGSEGV, end_process},
    {SIGBUS, end_process},   {SIGILL, end_process},  {SIGFPE, end_process},
    {SIGTSTP, stop_process}, {SIGCONT, note_signal}, {SIGWINCH, note_signal},
};

// Milliseconds for a terminal to take the bytes that restore it, before the process ends without
// them. A line of 9600 baud transmits a whole screen in that time.
constexpr int kPatience = 3000;

// Stack of the handlers, for a process whose own stack has overflowed.
constexpr std::size_t kHandlerStack = std::size_t{64} * 1024;

struct State {
  std::array<struct sigaction, std::size(kSignals)> former{};
  std::array<int, 2> wake_pipe{-1, -1};
  volatile sig_atomic_t continued = 0;
  volatile sig_atomic_t resized = 0;
  alignas(std::max_align_t) std::array<char, kHandlerStack> handler_stack{};
};
State state;

std::size_t index_of(int signal) {
  const auto* row = std::ranges::find(kSignals, signal, &HandledSignal::signal);
  return static_cast<std::size_t>(row - std::begin(kSignals));
}

void wake() {
  const char byte = 0;
  // A full pipe already wakes the reader.
  [[maybe_unused]] const ssize_t written = write(state.wake_pipe[1], &byte, 1);
}

// The signal is blocked during its own handler and takes effect when the handler returns; a fault
// happens again.
void end_process(int signal) {
  const int error = errno;
  const struct sigaction& former = state.former[index_of(signal)];
  tty_restore(kPatience, ConsoleEnd::kSudden);
  if (former.sa_handler == SIG_DFL) passing_files_remove();  // a handler may go on
  sigaction(signal, &former, nullptr);
  raise(signal);
  errno = error;
}

void stop_process(int signal) {
  const int error = errno;
  tty_restore(kPatience, ConsoleEnd::kSudden);
  struct sigaction ours {};
  sigaction(signal, &state.former[index_of(signal)], &ours);
  raise(signal);
  sigset_t only;
  sigset_t before;
  sigemptyset(&only);
  sigaddset(&only, signal);
  sigprocmask(SIG_UNBLOCK, &only, &before);  // stops here
  sigprocmask(SIG_SETMASK, &before, nullptr);
  sigaction(signal, &ours, nullptr);
  state.continued = 1;
  wake();
  errno = error;
}

void note_signal(int signal) {
  const int error = errno;
  if (signal == SIGCONT) state.continued = 1;
  if (signal == SIGWINCH) state.resized = 1;
  wake();
  errno = error;
}

bool is_ours(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) == 0 &&
         std::ranges::find(kSignals, action.sa_handler, &HandledSignal::handler) !=
             std::end(kSignals);
}

bool is_ignored(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

void make_wake_pipe() {
  if (state.wake_pipe[0] != -1 || pipe(state.wake_pipe.data()) != 0) return;
  for (const int descriptor : state.wake_pipe) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
  }
}

void make_handler_stack() {
  stack_t stack{};
  if (sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE) == 0) return;
  stack = {};
  stack.ss_sp = state.handler_stack.data();
  stack.ss_size = state.handler_stack.size();
  sigaltstack(&stack, nullptr);
}

bool take(volatile sig_atomic_t& note) {
  if (note == 0) return false;
  note = 0;
  return true;
}

}  // namespace

void signals_install() {
  make_wake_pipe();
  make_handler_stack();
  for (const HandledSignal& row : kSignals) {
    struct sigaction& former = state.former[index_of(row.signal)];
    struct sigaction now {};
    if (sigaction(row.signal, nullptr, &now) != 0 || is_ours(now)) continue;
    if (is_ignored(now) && row.handler != note_signal) continue;
    former = now;
    struct sigaction action {};
    action.sa_handler = row.handler;
    // SA_RESTART, because a resized window must not make the data layer's calls fail.
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigaction(row.signal, &action, nullptr);
  }
}

void signals_remove() {
  for (const HandledSignal& row : kSignals) {
    struct sigaction now {};
    if (sigaction(row.signal, nullptr, &now) != 0 || !is_ours(now)) continue;
    sigaction(row.signal, &state.former[index_of(row.signal)], nullptr);
  }
}

int signals_wake_descriptor() {
  return state.wake_pipe[0];
}

void signals_empty_wake_descriptor() {
  std::array<char, 64> bytes{};
  while (read(state.wake_pipe[0], bytes.data(), bytes.size()) > 0) {
  }
}

SignalNotes signals_take_notes() {
  return {.continued = take(state.continued), .resized = take(state.resized)};
}

}  // namespace marigold::inner
