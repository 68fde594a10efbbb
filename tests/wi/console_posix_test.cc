#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>

#include "runtime/wi/console.h"
#include "tests/support/support.h"
#include "tests/wi/emulator.h"

namespace marigold::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(20);

ConsoleBuffer sample_screen() {
  ConsoleBuffer cells{};
  for (std::size_t index = 0; index < cells.size(); ++index)
    cells[index] = {static_cast<std::uint8_t>(index % 223 + 32),
                    index / 100 % 2 == 0 ? kColourPlain : kColourReverse};
  return cells;
}

void show_text(ConsoleBuffer& cells, const std::string& text) {
  for (std::size_t index = 0; index < kScreenColumns; ++index)
    cells[index] = {static_cast<std::uint8_t>(index < text.size() ? text[index] : ' ')};
}

// The program in the terminal: shows a screen and the bytes of its keys in the first row; "q" ends
// it, "a" aborts it, "f" recurs for ever, "l" hands the terminal back until the next key.
[[noreturn]] void run_program() {
  const Console& console = system_console();
  ConsoleBuffer cells = sample_screen();
  std::string keys = "keys:";
  const std::function<int(int)> recur = [&](int depth) {
    volatile char room[4096];
    room[0] = static_cast<char>(depth);
    return recur(depth + 1) + room[0];
  };
  console.size();
  for (;;) {
    show_text(cells, keys);
    console.write(cells);
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

void prepare_program() {
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
    std::signal(signal, SIG_DFL);  // those of sanitizers
  stack_t no_stack{};
  no_stack.ss_flags = SS_DISABLE;
  sigaltstack(&no_stack, nullptr);
  const rlimit nothing{};
  setrlimit(RLIMIT_CORE, &nothing);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("TERM", "xterm", 1);
}

// A shell of sorts in a pty, which starts the program in the foreground and reports what becomes of
// it: without one a stop has no effect.
class Session {
 public:
  explicit Session(
      int columns = 90, int rows = 30, void (*program)() = [] { run_program(); })
      : emulator(columns, rows) {
    const winsize size = size_of(columns, rows);
    std::array<int, 2> report{};
    if (pipe(report.data()) != 0) std::abort();
    shell_ = forkpty(&master_, nullptr, nullptr, &size);
    if (shell_ == 0) run_shell(report[1], program);
    close(report[1]);
    report_ = report[0];
    program_ = next_report();
    modes_before_ = modes();
    write_all(master_, "g");
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    kill(program_, SIGKILL);
    kill(shell_, SIGKILL);
    waitpid(shell_, nullptr, 0);
    if (master_ != -1) close(master_);
    close(report_);
  }

  void type(std::string_view keys) { write_all(master_, keys); }
  void send(int signal) { kill(program_, signal); }
  void hang_up() {
    close(master_);
    master_ = -1;
  }
  void resize(int columns, int rows) {
    const winsize size = size_of(columns, rows);
    emulator.resize(columns, rows);
    ioctl(master_, TIOCSWINSZ, &size);
  }

  // Feeds the emulator until this holds.
  bool wait_until(const std::function<bool()>& holds) {
    const auto end = Clock::now() + kPatience;
    while (!holds()) {
      if (Clock::now() > end) return false;
      read_output(20);
    }
    return true;
  }
  bool shows(const std::string& first_row) {
    return wait_until([&] { return emulator.row_text(1) == first_row; });
  }
  // The status of the program's next change, as for waitpid.
  int next_status() {
    wait_until([&] {
      pollfd waiting{report_, POLLIN, 0};
      return poll(&waiting, 1, 0) == 1;
    });
    while (read_output(0)) {
    }
    return next_report();
  }
  bool restored() {
    while (read_output(0)) {
    }
    return !emulator.alternate_screen() && emulator.cursor_visible() && modes() == modes_before_;
  }

  Emulator emulator;

 private:
  static winsize size_of(int columns, int rows) {
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    return size;
  }
  static void write_all(int descriptor, std::string_view bytes) {
    if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      std::abort();
  }
  [[noreturn]] static void run_shell(int report, void (*program)()) {
    const pid_t child = fork();
    if (child == 0) {
      setpgid(0, 0);
      sigset_t terminal_output;
      sigemptyset(&terminal_output);
      sigaddset(&terminal_output, SIGTTOU);
      sigprocmask(SIG_BLOCK, &terminal_output, nullptr);
      tcsetpgrp(STDIN_FILENO, getpid());
      prepare_program();
      char go = 0;
      termios modes{};
      tcgetattr(STDIN_FILENO, &modes);
      modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
      tcsetattr(STDIN_FILENO, TCSANOW, &modes);
      const int self = getpid();
      if (write(report, &self, sizeof self) < 0 || read(STDIN_FILENO, &go, 1) != 1) std::_Exit(3);
      program();
    }
    std::signal(SIGHUP, SIG_IGN);
    int status = 0;
    while (waitpid(child, &status, WUNTRACED) == child) {
      if (write(report, &status, sizeof status) < 0) break;
    }
    pause();
    std::_Exit(0);
  }
  int next_report() {
    int value = -1;
    return read(report_, &value, sizeof value) == sizeof value ? value : -1;
  }
  bool read_output(int milliseconds) {
    pollfd waiting{master_, POLLIN, 0};
    if (master_ == -1 || poll(&waiting, 1, milliseconds) != 1) return false;
    std::array<char, 4096> bytes{};
    const ssize_t count = read(master_, bytes.data(), bytes.size());
    if (count <= 0) return false;
    emulator.feed({bytes.data(), static_cast<std::size_t>(count)});
    return true;
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
  int report_ = -1;
  pid_t shell_ = -1;
  pid_t program_ = -1;
  std::string modes_before_;
};

std::string screen_difference(const Session& session, const std::string& first_row) {
  ConsoleBuffer expected = sample_screen();
  show_text(expected, first_row);
  return session.emulator.difference(expected);
}

}  // namespace

TEST(ConsolePosixTest, ShowsTheScreenAndReadsKeys) {
  Session session;
  ASSERT_TRUE(session.shows("keys:"));
  EXPECT_TRUE(session.emulator.alternate_screen());
  EXPECT_EQ(screen_difference(session, "keys:"), "");
  EXPECT_TRUE(session.wait_until([&] {
    return session.emulator.cursor() == CursorPosition{5, 7};
  }));
  session.type("x\r\x1b[A\xc3\xa4\x1bOP");
  EXPECT_TRUE(session.shows("keys: 120 13 224 72 132 0 59"));
  session.type("\x1b");
  EXPECT_TRUE(session.shows("keys: 120 13 224 72 132 0 59 27"));
  session.type("\x1b[1;");  // within the time that an Escape has
  session.type("5H");
  EXPECT_TRUE(session.shows("keys: 120 13 224 72 132 0 59 27 224 119"));
  session.type("q");
  const int status = session.next_status();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_TRUE(session.restored());
}

TEST(ConsolePosixTest, LeavingGivesTheTerminalBackAndAnyUseTakesItAgain) {
  Session session;
  ASSERT_TRUE(session.shows("keys:"));
  session.type("l");
  session.type("z");
  ASSERT_TRUE(session.shows("keys: 108"));
  EXPECT_EQ(screen_difference(session, "keys: 108"), "");
}

TEST(ConsolePosixTest, EverySignalRestoresTheTerminal) {
  for (const int signal :
       {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE}) {
    Session session;
    ASSERT_TRUE(session.shows("keys:"));
    EXPECT_FALSE(session.restored());
    session.send(signal);
    const int status = session.next_status();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << strsignal(signal);
    EXPECT_TRUE(session.restored()) << strsignal(signal);
  }
}

TEST(ConsolePosixTest, KeysAbortsAndAnOverflownStackRestoreTheTerminal) {
  const std::pair<const char*, int> rows[] = {
      {"\x03", SIGINT}, {"\x1c", SIGQUIT}, {"a", SIGABRT}, {"f", SIGSEGV}};
  for (const auto& [key, signal] : rows) {
    Session session;
    ASSERT_TRUE(session.shows("keys:"));
    session.type(key);
    const int status = session.next_status();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << strsignal(signal);
    EXPECT_TRUE(session.restored()) << strsignal(signal);
  }
}

TEST(ConsolePosixTest, StoppingHandsTheTerminalBackAndContinuingPaints) {
  Session session;
  ASSERT_TRUE(session.shows("keys:"));
  session.type("\x1a");
  EXPECT_TRUE(WIFSTOPPED(session.next_status()));
  EXPECT_TRUE(session.restored());
  session.emulator.feed("\x1b[Hshell\r\n");
  session.send(SIGCONT);
  EXPECT_TRUE(session.wait_until([&] { return screen_difference(session, "keys:").empty(); }));
  EXPECT_TRUE(session.emulator.alternate_screen());
  // A stop that cannot be caught, with another program's output after it.
  session.send(SIGSTOP);
  EXPECT_TRUE(WIFSTOPPED(session.next_status()));
  session.emulator.feed("\x1b[?1049l\x1b[Hshell\r\n");
  session.send(SIGCONT);
  EXPECT_TRUE(session.wait_until([&] { return screen_difference(session, "keys:").empty(); }));
  session.type("q");
  EXPECT_TRUE(WIFEXITED(session.next_status()));
  EXPECT_TRUE(session.restored());
}

TEST(ConsolePosixTest, AnotherSizePaintsAndASmallerOneIsSaid) {
  Session session(79, 24);
  const std::string small = "The terminal has 79 x 24, needed: 80 x 24";
  ASSERT_TRUE(session.shows(small));
  session.type("x");
  session.resize(30, 10);
  ASSERT_TRUE(session.shows("The terminal has 30 x 10, need"));
  session.resize(120, 40);
  ASSERT_TRUE(session.shows("keys: 120"));
  session.emulator.feed("\x1b[2J");
  session.resize(80, 24);
  EXPECT_TRUE(session.wait_until([&] { return screen_difference(session, "keys: 120").empty(); }));
}

TEST(ConsolePosixTest, ATerminalThatGoesAwayEndsTheProgram) {
  for (const bool ignoring : {false, true}) {
    Session session(80, 24, ignoring ? [] { std::signal(SIGHUP, SIG_IGN); run_program(); }
                                     : [] { run_program(); });
    ASSERT_TRUE(session.shows("keys:"));
    session.hang_up();
    if (ignoring) session.send(SIGWINCH);
    const int status = session.next_status();
    if (ignoring) {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    } else {
      // Whichever comes first, the signal or the end of the keyboard.
      EXPECT_TRUE((WIFSIGNALED(status) && WTERMSIG(status) == SIGHUP) || WEXITSTATUS(status) == 1)
          << status;
    }
  }
}

TEST(ConsolePosixTest, WithoutATerminalTheProgramEndsWithAMessage) {
  const auto with_input = [](const char* file) {
    return [file] {
      const int descriptor = open(file, O_RDONLY);
      dup2(descriptor, STDIN_FILENO);
      system_console().read_key();
    };
  };
  const auto closed = [] {
    close(STDIN_FILENO);
    system_console().size();
  };
  const char* message = "^standard input is not a terminal\n$";
  EXPECT_EXIT(with_input("/dev/null")(), testing::ExitedWithCode(1), message);
  EXPECT_EXIT(closed(), testing::ExitedWithCode(1), message);
  Session session(80, 24, [] {
    dup2(STDOUT_FILENO, STDERR_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    system_console().size();
  });
  const int status = session.next_status();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
  EXPECT_EQ(session.emulator.row_text(1), "standard output is not a terminal");
}

}  // namespace marigold::test
