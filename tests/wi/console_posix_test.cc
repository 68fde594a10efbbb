#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "runtime/wi/console.h"
#include "tests/support/support.h"
#include "tests/wi/emulator.h"

namespace marigold::test {
namespace {

// Every glyph in two colours below a first row of text.
ConsoleBuffer screen_with(const std::string& first_row) {
  ConsoleBuffer cells{};
  for (std::size_t index = kScreenColumns; index < cells.size(); ++index)
    cells[index] = {static_cast<std::uint8_t>(index % 223 + 32),
                    index / 100 % 2 == 0 ? kColourPlain : kColourReverse};
  for (std::size_t index = 0; index < first_row.size(); ++index)
    cells[index].character = static_cast<std::uint8_t>(first_row[index]);
  return cells;
}

int recur(int depth) {
  volatile int kept = depth;
  return depth < 0 ? 0 : recur(depth + 1) + kept;
}

// The program in the terminal shows the bytes of its keys. "q" ends it, "a" aborts it, "f" recurs
// for ever, "l" hands the terminal back until the next key.
void run_program() {
  const Console& console = system_console();
  std::string keys = "keys:";
  for (;;) {
    console.write(screen_with(keys));
    console.place_cursor(5, 7);
    const std::uint8_t key = console.read_key();
    if (key == 'q') std::exit(0);
    if (key == 'a') std::abort();
    if (key == 'f') recur(0);
    if (key == 'l') {
      console.leave();
      console.read_key();
    }
    keys.append(" ").append(std::to_string(key));
  }
}

void write_all(int descriptor, const void* bytes, std::size_t size) {
  if (write(descriptor, bytes, size) != static_cast<ssize_t>(size)) std::_Exit(3);
}

// In the foreground, without what sanitizers and core dumps would add to a death.
[[noreturn]] void start_program(int report, void (*program)()) {
  std::signal(SIGTTOU, SIG_IGN);
  setpgid(0, 0);
  const pid_t self = getpid();
  tcsetpgrp(STDIN_FILENO, self);
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
    std::signal(signal, SIG_DFL);
  const stack_t no_stack{.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
  sigaltstack(&no_stack, nullptr);
  const rlimit nothing{};
  setrlimit(RLIMIT_CORE, &nothing);
  setenv("LC_ALL", "C.UTF-8", 1);
  write_all(report, &self, sizeof self);
  program();
  std::_Exit(0);
}

// A shell of sorts in a pty, which starts the program and reports what becomes of it: without one a
// stop has no effect.
[[noreturn]] void run_shell(int report, void (*program)()) {
  const pid_t child = fork();
  if (child == 0) start_program(report, program);
  std::signal(SIGHUP, SIG_IGN);
  for (int status = 0; waitpid(child, &status, WUNTRACED) == child;)
    write_all(report, &status, sizeof status);
  pause();
  std::_Exit(0);
}

class Session {
 public:
  explicit Session(unsigned short columns = 90, unsigned short rows = 30,
                   void (*program)() = run_program)
      : emulator(columns, rows) {
    std::array<int, 2> report{};
    int slave = -1;
    if (pipe(report.data()) != 0 || openpty(&master_, &slave, nullptr, nullptr, nullptr) != 0)
      std::abort();
    resize(columns, rows);
    modes_before_ = modes();
    if ((shell_ = fork()) < 0) std::abort();
    if (shell_ == 0) {
      close(master_);
      login_tty(slave);
      run_shell(report[1], program);
    }
    close(slave);
    close(report[1]);
    report_ = report[0];
    program_ = next_report();
  }
  ~Session() {
    send(SIGKILL);
    kill(shell_, SIGKILL);
    waitpid(shell_, nullptr, 0);
    hang_up();
    close(report_);
  }

  void type(std::string_view keys) { write_all(master_, keys.data(), keys.size()); }
  void send(int signal) {
    if (program_ > 0) kill(program_, signal);
  }
  void hang_up() {
    if (master_ != -1) close(master_);
    master_ = -1;
  }
  void resize(unsigned short columns, unsigned short rows) {
    const winsize size{rows, columns, 0, 0};
    emulator.resize(columns, rows);
    ioctl(master_, TIOCSWINSZ, &size);
  }
  bool wait_until(const auto& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
      if (std::chrono::steady_clock::now() > end) return false;
      read_output(10);
    }
    return true;
  }
  bool shows(const std::string& first_row) {
    const ConsoleBuffer expected = screen_with(first_row);
    return wait_until([&] { return emulator.difference(expected).empty(); });
  }
  bool shows_only(const std::string& row) {
    return wait_until([&] { return emulator.row_text(1) == row && emulator.row_text(2).empty(); });
  }
  // What becomes of the program next, as a wait status; a dumped core does not matter.
  int outcome() {
    pollfd waiting{report_, POLLIN, 0};
    wait_until([&] { return poll(&waiting, 1, 0) == 1; });
    const int status = next_report();
    if (!WIFSTOPPED(status)) program_ = 0;  // its number may be another's soon
    return status & ~WCOREFLAG;
  }
  bool restored() {
    while (read_output(0)) {
    }
    return !emulator.alternate_screen() && emulator.cursor_visible() && modes() == modes_before_;
  }

  Emulator emulator;

 private:
  int next_report() {
    int value = -1;
    return read(report_, &value, sizeof value) == sizeof value ? value : -1;
  }
  bool read_output(int milliseconds) {
    pollfd waiting{master_, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) != 1) return false;
    char bytes[4096];
    const ssize_t count = read(master_, bytes, sizeof bytes);
    if (count > 0) emulator.feed({bytes, static_cast<std::size_t>(count)});
    return count > 0;
  }
  std::string modes() const {
    termios now;
    std::memset(&now, 0, sizeof now);  // its padding, too
    tcgetattr(master_, &now);
    return {reinterpret_cast<const char*>(&now), sizeof now};
  }

  int master_ = -1;
  int report_ = -1;
  pid_t shell_ = -1;
  pid_t program_ = -1;
  std::string modes_before_;
};

}  // namespace

TEST(ConsolePosixTest, ShowsTheScreenReadsKeysAndLeaves) {
  Session session;
  ASSERT_TRUE(session.shows("keys:"));
  EXPECT_TRUE(session.emulator.alternate_screen());
  EXPECT_TRUE(session.wait_until([&] {
    return session.emulator.cursor() == CursorPosition{5, 7};
  }));
  session.type("x\x1b[A\xc3\xa4\x1b");
  EXPECT_TRUE(session.shows("keys: 120 224 72 132 27"));
  session.type("lz");  // any use takes the terminal again
  EXPECT_TRUE(session.shows("keys: 120 224 72 132 27 108"));
  session.type("q");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
}

TEST(ConsolePosixTest, WhateverEndsTheProgramTheTerminalIsRestored) {
  // Without a key the signal is sent.
  const std::pair<std::string, int> rows[] = {
      {"\x03", SIGINT}, {"a", SIGABRT}, {"f", SIGSEGV}, {"", SIGHUP}, {"", SIGINT}, {"", SIGQUIT},
      {"", SIGTERM},    {"", SIGABRT},  {"", SIGSEGV},  {"", SIGBUS}, {"", SIGILL}, {"", SIGFPE}};
  for (const auto& [key, signal] : rows) {
    Session session;
    ASSERT_TRUE(session.shows("keys:"));
    EXPECT_FALSE(session.restored());
    if (key.empty()) session.send(signal);
    session.type(key);
    EXPECT_EQ(session.outcome(), signal);
    EXPECT_TRUE(session.restored()) << strsignal(signal);
  }
}

TEST(ConsolePosixTest, StoppingHandsTheTerminalBackAndContinuingPaints) {
  Session session;
  ASSERT_TRUE(session.shows("keys:"));
  session.type("\x1a");
  EXPECT_EQ(session.outcome(), W_STOPCODE(SIGTSTP));
  EXPECT_TRUE(session.restored());
  session.send(SIGCONT);
  EXPECT_TRUE(session.shows("keys:"));
  EXPECT_TRUE(session.emulator.alternate_screen());
  session.send(SIGSTOP);  // cannot be caught; another program writes meanwhile
  EXPECT_EQ(session.outcome(), W_STOPCODE(SIGSTOP));
  session.emulator.feed("\x1b[?1049l\x1b[Hshell\r\n");
  session.send(SIGCONT);
  EXPECT_TRUE(session.shows("keys:"));
  session.type("q");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
}

TEST(ConsolePosixTest, AnotherSizePaintsAndOneThatIsTooSmallIsSaid) {
  Session session(79, 24);
  ASSERT_TRUE(session.shows_only("The terminal has 79 x 24, needed: 80 x 24"));
  session.type("x");
  session.resize(30, 10);
  ASSERT_TRUE(session.shows_only("The terminal has 30 x 10, need"));
  session.resize(120, 40);
  ASSERT_TRUE(session.shows("keys: 120"));
  session.emulator.feed("\x1b[2J");
  session.resize(80, 24);
  EXPECT_TRUE(session.shows("keys: 120"));
}

TEST(ConsolePosixTest, WithoutATerminalTheProgramEnds) {
  Session no_output(80, 24, [] {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    system_console().size();
  });
  EXPECT_EQ(no_output.outcome(), W_EXITCODE(1, 0));
  EXPECT_TRUE(no_output.shows_only("standard output is not a terminal"));
  Session gone;
  ASSERT_TRUE(gone.shows("keys:"));
  gone.hang_up();
  EXPECT_EQ(gone.outcome(), W_EXITCODE(1, 0));
}

}  // namespace marigold::test
