// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/posix/console_tty_posix.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace marigold::inner {
namespace {

constexpr int kForegroundTries = 10;

// Sets the alternate screen, no wrapping of lines, and the graphic set as G1.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?7l\x1b(B\x1b)0";
// Moves below a VT100's screen and sets normal video, for the shell's next line.
constexpr std::string_view kLeaveVt100 = "\x0f\x1b[m\x1b[24H\r\n";
// Moves below the last row first, for terminals without an alternate screen.
constexpr std::string_view kLeave = "\x0f\x1b[m\x1b[24H\r\n\x1b[?7h\x1b[?25h\x1b[?1049l";

// tty_hold writes `held` last and handlers read it first, so `found` is complete whenever a handler
// reads it. The thread that sends a late screen reads `held` as well.
struct State {
  std::atomic<ConsoleHold> held = ConsoleHold::kNone;
  bool doubtful = false;
  std::atomic<bool> output_is_terminal = false;
  pid_t owner = 0;  // a forked child must not restore the terminal
  termios found{};
};
State state;
static_assert(std::atomic<ConsoleHold>::is_always_lock_free);
static_assert(std::atomic<bool>::is_always_lock_free);

// Blocks signals while the object lives.
class BlockedSignals {
 public:
  explicit BlockedSignals(const sigset_t& blocked) { sigprocmask(SIG_BLOCK, &blocked, &before_); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

// Returns all signals except the one that keeps a background process from changing the terminal.
sigset_t all_but_background_output() {
  sigset_t signals;
  sigfillset(&signals);
  sigdelset(&signals, SIGTTOU);
  return signals;
}

sigset_t background_output() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTTOU);
  return signals;
}

[[noreturn]] void end_program(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::exit(EXIT_FAILURE);
}

void require_terminals(ConsoleHold wanted) {
  if (isatty(STDIN_FILENO) == 0) end_program("standard input is not a terminal");
  if (wanted == ConsoleHold::kScreen && isatty(STDOUT_FILENO) == 0)
    end_program("standard output is not a terminal");
}

termios raw_mode(const termios& found, ConsoleHold wanted) {
  termios raw = found;
  raw.c_iflag &= ~static_cast<tcflag_t>(ISTRIP | INLCR | IGNCR | ICRNL);
  raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | IEXTEN);
  if (wanted == ConsoleHold::kScreen) raw.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  // Ctrl-C is a key of the runtime: it leaves a field and not the program. Ctrl-\ ends the program.
  raw.c_cc[VINTR] = _POSIX_VDISABLE;
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  return raw;
}

// Whether this process is in the background. Without an answer the terminal does not control this
// process, and there is no background.
bool is_in_background() {
  const pid_t foreground = tcgetpgrp(STDIN_FILENO);
  return foreground != -1 && foreground != getpgrp();
}

// In the background the terminal has the modes of the foreground process, which are not the ones to
// restore later. The system does not stop an orphaned process group; such a process goes on and
// meets an error.
void wait_for_foreground() {
  for (int tries = 0; tries < kForegroundTries && is_in_background(); ++tries)
    kill(0, SIGTTOU);
}

void set_mode(ConsoleHold wanted) {
  wait_for_foreground();
  const BlockedSignals guard(all_but_background_output());
  if (tty_held() == ConsoleHold::kNone) {
    if (tcgetattr(STDIN_FILENO, &state.found) != 0) tty_gone();
    state.owner = getpid();
  }
  state.output_is_terminal = isatty(STDOUT_FILENO) == 1;
  state.doubtful = false;
  state.held = wanted;
  const termios raw = raw_mode(state.found, wanted);
  if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0 && errno != EINTR) tty_gone();
}

bool wait_for_room(int milliseconds) {
  pollfd waiting{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  int ready = 0;
  do {
    ready = poll(&waiting, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready == 1 && (waiting.revents & POLLOUT) != 0;
}

bool may_try_again() {
  return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK;
}

void write_leaving(std::string_view bytes, int patience) {
  while (!bytes.empty() && wait_for_room(patience)) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0 && !may_try_again()) return;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

ConsoleHold tty_held() {
  return state.held;
}

bool tty_shows_output() {
  return tty_held() >= ConsoleHold::kVt100 && state.output_is_terminal;
}

bool tty_is_inherited() {
  return tty_held() != ConsoleHold::kNone && state.owner != getpid();
}

speed_t tty_speed() {
  return cfgetospeed(&state.found);
}

bool tty_has_keyboard() {
  return isatty(STDIN_FILENO) == 1;
}

void tty_doubt() {
  state.doubtful = true;
}

bool tty_hold(ConsoleHold wanted) {
  if (tty_held() >= wanted && !state.doubtful) return false;
  require_terminals(wanted);
  set_mode(wanted);
  if (wanted == ConsoleHold::kScreen && !tty_write(kEnter)) tty_gone();
  return true;
}

// If a signal arrives in the middle, its handler runs the whole function again, and nothing is left
// to do afterwards.
void tty_restore(int patience, ConsoleEnd end) {
  const ConsoleHold held = tty_held();
  if (held == ConsoleHold::kNone || state.owner != getpid()) return;
  const int error = errno;
  // Blocks the signal that would stop a background process instead of letting it end.
  const BlockedSignals guard(background_output());
  if (held == ConsoleHold::kScreen) write_leaving(kLeave, patience);
  if (held == ConsoleHold::kVt100 && end == ConsoleEnd::kSudden && state.output_is_terminal)
    write_leaving(kLeaveVt100, patience);
  tcsetattr(STDIN_FILENO, TCSANOW, &state.found);
  state.held = ConsoleHold::kNone;
  errno = error;
}

bool tty_write(std::string_view bytes) {
  while (!bytes.empty() && tty_held() == ConsoleHold::kScreen) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (!may_try_again()) {
      return false;
    } else if (errno != EINTR) {
      wait_for_room(-1);
    }
  }
  return true;
}

ConsoleSize tty_size() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
    return kScreenSize;
  return {.columns = size.ws_col, .rows = size.ws_row};
}

void tty_gone() {
  tty_restore(0, ConsoleEnd::kSudden);
  end_program("the terminal is gone");
}

}  // namespace marigold::inner
