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
#include <functional>

#include "runtime/wi/console.h"
#include "tests/support/support.h"
#include "tests/wi/emulator.h"

namespace marigold::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(20);

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
  volatile char room[4096];
  room[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : recur(depth + 1) + room[0];
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

void write_all(int descriptor, std::string_view bytes) {
  if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    std::_Exit(3);
}

void write_number(int descriptor, int number) {
  write_all(descriptor, {reinterpret_cast<const char*>(&number), sizeof number});
}

// In the foreground, without what sanitizers and core dumps would add to a death.
[[noreturn]] void start_program(int report, void (*program)()) {
  setpgid(0, 0);
  sigset_t background_output;
  sigemptyset(&background_output);
  sigaddset(&background_output, SIGTTOU);
  sigprocmask(SIG_BLOCK, &background_output, nullptr);
  tcsetpgrp(STDIN_FILENO, getpid());
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
    std::signal(signal, SIG_DFL);
  const stack_t no_stack{.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
  sigaltstack(&no_stack, nullptr);
  const rlimit nothing{};
  setrlimit(RLIMIT_CORE, &nothing);
  setenv("LC_ALL", "C.UTF-8", 1);
  write_number(report, getpid());
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
    write_number(report, status);
  pause();
  std::_Exit(0);
}

class Session {
 public:
  explicit Session(int columns = 90, int rows = 30, void (*program)() = run_program)
      : emulator(columns, rows) {
    std::array<int, 2> report{};
    if (pipe(report.data()) != 0 || openpty(&master_, &slave_, nullptr, nullptr, nullptr) != 0)
      std::abort();
    resize(columns, rows);
    modes_before_ = modes();
    shell_ = fork();
    if (shell_ < 0) std::abort();
    if (shell_ == 0) {
      close(master_);
      login_tty(slave_);
      run_shell(report[1], program);
    }
    close(slave_);
    close(report[1]);
    report_ = report[0];
    program_ = next_report();
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    send(SIGKILL);
    kill(shell_, SIGKILL);
    waitpid(shell_, nullptr, 0);
    hang_up();
    close(report_);
  }

  void type(std::string_view keys) { write_all(master_, keys); }
  void send(int signal) {
    if (program_ > 0) kill(program_, signal);
  }
  void hang_up() {
    if (master_ != -1) close(master_);
    master_ = -1;
  }
  void resize(int columns, int rows) {
    const winsize size{.ws_row = static_cast<unsigned short>(rows),
                       .ws_col = static_cast<unsigned short>(columns),
                       .ws_xpixel = 0,
                       .ws_ypixel = 0};
    emulator.resize(columns, rows);
    ioctl(master_, TIOCSWINSZ, &size);
  }
  bool wait_until(const std::function<bool()>& holds) {
    const auto end = Clock::now() + kPatience;
    while (!holds()) {
      if (Clock::now() > end) return false;
      read_output(10);
    }
    return true;
  }
  bool shows(const std::string& first_row) {
    const ConsoleBuffer expected = screen_with(first_row);
    return wait_until([&] { return emulator.difference(expected).empty(); });
  }
  bool shows_only(const std::string& first_row) {
    return wait_until([&] { return emulator.row_text(1) == first_row; }) &&
           emulator.row_text(2).empty();
  }
  // What becomes of the program next: its exit status, or the negative number of the signal that
  // has ended or stopped it.
  int outcome() {
    pollfd waiting{report_, POLLIN, 0};
    wait_until([&] { return poll(&waiting, 1, 0) == 1; });
    const int status = next_report();
    if (!WIFSTOPPED(status)) program_ = 0;  // its number may be another's soon
    return WIFEXITED(status)    ? WEXITSTATUS(status)
           : WIFSTOPPED(status) ? -WSTOPSIG(status)
                                : -WTERMSIG(status);
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
    std::array<char, 4096> bytes{};
    const ssize_t count = read(master_, bytes.data(), bytes.size());
    if (count > 0) emulator.feed({bytes.data(), static_cast<std::size_t>(count)});
    return count > 0;
  }
  std::string modes() const {
    termios now{};
    tcgetattr(master_, &now);
    std::string all(reinterpret_cast<const char*>(now.c_cc), sizeof now.c_cc);
    for (const tcflag_t flags : {now.c_iflag, now.c_oflag, now.c_cflag, now.c_lflag})
      all += std::to_string(flags) + ' ';
    return all;
  }

  int master_ = -1;
  int slave_ = -1;
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
  session.type("x\r\x1b[A\xc3\xa4\x1bOP");
  EXPECT_TRUE(session.shows("keys: 120 13 224 72 132 0 59"));
  session.type("\x1b");
  EXPECT_TRUE(session.shows("keys: 120 13 224 72 132 0 59 27"));
  session.type("lz");  // any use takes the terminal again
  EXPECT_TRUE(session.shows("keys: 120 13 224 72 132 0 59 27 108"));
  session.type("q");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
}

TEST(ConsolePosixTest, WhateverEndsTheProgramTheTerminalIsRestored) {
  struct {
    int signal;
    const char* key;  // null: the signal is sent
  } const rows[] = {{SIGHUP, nullptr},  {SIGINT, nullptr},  {SIGQUIT, nullptr}, {SIGTERM, nullptr},
                    {SIGABRT, nullptr}, {SIGSEGV, nullptr}, {SIGBUS, nullptr},  {SIGILL, nullptr},
                    {SIGFPE, nullptr},  {SIGINT, "\x03"},   {SIGABRT, "a"},     {SIGSEGV, "f"}};
  for (const auto& row : rows) {
    Session session;
    ASSERT_TRUE(session.shows("keys:"));
    EXPECT_FALSE(session.restored());
    if (row.key != nullptr) {
      session.type(row.key);
    } else {
      session.send(row.signal);
    }
    EXPECT_EQ(session.outcome(), -row.signal);
    EXPECT_TRUE(session.restored()) << strsignal(row.signal);
  }
}

TEST(ConsolePosixTest, StoppingHandsTheTerminalBackAndContinuingPaints) {
  Session session;
  ASSERT_TRUE(session.shows("keys:"));
  session.type("\x1a");
  EXPECT_EQ(session.outcome(), -SIGTSTP);
  EXPECT_TRUE(session.restored());
  session.send(SIGCONT);
  EXPECT_TRUE(session.shows("keys:"));
  EXPECT_TRUE(session.emulator.alternate_screen());
  session.send(SIGSTOP);  // cannot be caught; another program writes meanwhile
  EXPECT_EQ(session.outcome(), -SIGSTOP);
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
  const auto read_nothing = [] {
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    system_console().read_key();
  };
  const auto closed = [] {
    close(STDIN_FILENO);
    system_console().size();
  };
  const char* message = "^standard input is not a terminal\n$";
  EXPECT_EXIT(read_nothing(), testing::ExitedWithCode(1), message);
  EXPECT_EXIT(closed(), testing::ExitedWithCode(1), message);
  Session session(80, 24, [] {
    dup2(STDOUT_FILENO, STDERR_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    system_console().size();
  });
  EXPECT_EQ(session.outcome(), 1);
  EXPECT_TRUE(session.shows_only("standard output is not a terminal"));
  Session gone;
  ASSERT_TRUE(gone.shows("keys:"));
  gone.hang_up();
  EXPECT_EQ(gone.outcome(), 1);
}

}  // namespace marigold::test
