#include "runtime/wi/console_tty_posix.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "runtime/wi/screen_row.h"

namespace marigold {
namespace {

constexpr int kPatienceAtTheEnd = 500;  // milliseconds

// Alternate screen, lines do not wrap, the graphic set as G1.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?7l\x1b(B\x1b)0";
// Below the last row first, for terminals without an alternate screen.
constexpr std::string_view kLeave = "\x0f\x1b[m\x1b[24H\r\n\x1b[?7h\x1b[?25h\x1b[?1049l";

// `held` is written last when the terminal is taken and first read in handlers, so `found` is whole
// whenever a handler looks at it.
struct State {
  volatile sig_atomic_t held = static_cast<int>(TtyHold::kNone);
  bool doubtful = false;
  pid_t owner = 0;  // a child that was forked off must not restore our terminal
  termios found{};
};
State state;

// Signals wait while the terminal is between two states.
class SignalsWait {
 public:
  SignalsWait() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before_);
  }
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;
  ~SignalsWait() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

[[noreturn]] void end_program(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::exit(EXIT_FAILURE);
}

void require_terminals(TtyHold wanted) {
  if (isatty(STDIN_FILENO) == 0) end_program("standard input is not a terminal");
  if (wanted == TtyHold::kScreen && isatty(STDOUT_FILENO) == 0)
    end_program("standard output is not a terminal");
}

termios raw_mode(const termios& found, TtyHold wanted) {
  termios raw = found;
  raw.c_iflag &= ~static_cast<tcflag_t>(ISTRIP | INLCR | IGNCR | ICRNL);
  raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | IEXTEN);
  if (wanted == TtyHold::kScreen) raw.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  return raw;
}

void set_mode(TtyHold wanted) {
  const SignalsWait guard;
  if (tty_held() == TtyHold::kNone) {
    if (tcgetattr(STDIN_FILENO, &state.found) != 0) tty_gone();
    state.owner = getpid();
  }
  state.doubtful = false;
  state.held = static_cast<int>(wanted);
  const termios raw = raw_mode(state.found, wanted);
  if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0 && errno != EINTR) tty_gone();
}

bool wait_for_room(int milliseconds) {
  pollfd waiting{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  return poll(&waiting, 1, milliseconds) == 1 && (waiting.revents & POLLOUT) != 0;
}

void write_leaving() {
  std::string_view bytes = kLeave;
  while (!bytes.empty() && wait_for_room(kPatienceAtTheEnd)) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

TtyHold tty_held() {
  return static_cast<TtyHold>(state.held);
}

void tty_doubt() {
  state.doubtful = true;
}

bool tty_hold(TtyHold wanted) {
  if (tty_held() >= wanted && !state.doubtful) return false;
  require_terminals(wanted);
  set_mode(wanted);
  if (wanted == TtyHold::kScreen) tty_write(kEnter);
  return true;
}

void tty_restore() {
  const TtyHold held = tty_held();
  if (held == TtyHold::kNone || state.owner != getpid()) return;
  const int error = errno;
  // A process in the background would be stopped instead.
  const SignalsWait guard;
  if (held == TtyHold::kScreen) write_leaving();
  tcsetattr(STDIN_FILENO, TCSANOW, &state.found);
  state.held = static_cast<int>(TtyHold::kNone);
  errno = error;
}

void tty_write(std::string_view bytes) {
  while (!bytes.empty() && tty_held() == TtyHold::kScreen) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      wait_for_room(-1);
    } else if (errno != EINTR) {
      tty_gone();
    }
  }
}

TtySize tty_size() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
    return {.columns = kScreenColumns, .rows = kScreenRows};
  return {.columns = size.ws_col, .rows = size.ws_row};
}

void tty_gone() {
  tty_restore();
  end_program("the terminal is gone");
}

}  // namespace marigold
