// SPDX-License-Identifier: GPL-3.0-or-later
// A program on a terminal while keys wait and while the line is busy, in both modes.
#include "runtime/wi/console/late_screen.h"

#include <sys/ioctl.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdarg>
#include <random>

#include "marigold/application.h"
#include "runtime/wi/terminal/terminal.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"
#include "tests/support/terminal_session.h"

namespace {
// Bytes that the line to the terminal has still to send, shared with the program; -1: the system's
// answer. A pseudo-terminal never has any.
std::atomic<int>& backlog() {
  static void* const shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                   MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  static auto* const value = new (shared) std::atomic<int>(-1);
  return *value;
}
}  // namespace

// The linker uses this function for `ioctl`.
extern "C" {
int __real_ioctl(int descriptor, unsigned long request, ...);   // NOLINT
int __wrap_ioctl(int descriptor, unsigned long request, ...);   // NOLINT
int __wrap_ioctl(int descriptor, unsigned long request, ...) {  // NOLINT
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (request != TIOCOUTQ || backlog() < 0) return __real_ioctl(descriptor, request, argument);
  *static_cast<int*>(argument) = backlog();
  return 0;
}
}

namespace marigold::inner::test {
namespace {

constexpr int kFullScreen = 2200;  // bytes, at most

void fill_screen(char character) {
  ScreenRow row;
  row_fill(row, static_cast<std::uint8_t>(character), 0);
  for (int each = 1; each <= kScreenRows; ++each)
    terminal_write_row(row, each, 1, kScreenColumns);
  terminal_refresh();
}

bool is_signalled() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGUSR1) == 1;
}

// Fills the screen with each key. "W" then works without a call, "P" with progress on the screen,
// both until SIGUSR1. "X" ends the program at once, "E" in good order.
void run_application() {
  sigset_t end_of_work;
  sigemptyset(&end_of_work);
  sigaddset(&end_of_work, SIGUSR1);
  sigprocmask(SIG_BLOCK, &end_of_work, nullptr);
  dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);  // the language has no table
  runtime_start("test");
  fill_screen('-');
  for (;;) {
    std::uint8_t key = 0;
    key_read(key);
    if (key == 'X') std::exit(0);
    if (key == 'E') runtime_end();
    if (key == 'E') std::_Exit(0);
    if (key != 0) fill_screen(static_cast<char>(key));
    for (int step = 0; key == 'P' && !is_signalled(); ++step) {
      usleep(2000);
      fill_screen(static_cast<char>('0' + step % 10));
    }
    int received = 0;
    if (key == 'W' || key == 'P') sigwait(&end_of_work, &received);
  }
}

void run_vt100_application() {
  setenv("COMFAXUSEVT100", "", 1);
  run_application();
}

void run_at_19200_baud() {
  termios modes{};
  tcgetattr(STDIN_FILENO, &modes);
  cfsetospeed(&modes, B19200);
  tcsetattr(STDIN_FILENO, TCSANOW, &modes);
  run_vt100_application();
}

struct Application : ApplicationSession {
  using ApplicationSession::ApplicationSession;
  [[nodiscard]] bool is_filled(char character, int rows = kScreenRows) const {
    for (int row = 1; row <= rows; ++row)
      if (emulator.row_text(row) != std::string(80, character)) return false;
    return true;
  }
  bool fills(char character, int rows = kScreenRows) {
    return wait_until([&] { return is_filled(character, rows); });
  }
  void pass(int milliseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    wait_until([&] { return std::chrono::steady_clock::now() >= end; });
  }
};

constexpr void (*kModes[])() = {run_application, run_vt100_application};

struct LateScreenTest : testing::Test {
  LateScreenTest() { backlog() = -1; }
};

TEST_F(LateScreenTest, KeysTypedAheadAreShownTogether) {
  std::string keys;
  for (int count = 0; count < 100; ++count)
    keys += static_cast<char>('a' + count % 25);
  for (void (*const program)() : kModes) {
    Application session(program);
    ASSERT_TRUE(session.fills('-'));
    const long before = session.received();
    session.type(keys + "z");
    EXPECT_TRUE(session.fills('z'));
    EXPECT_LT(session.received() - before, 20 * kFullScreen);
    session.type("y");  // the next key as ever
    EXPECT_TRUE(session.fills('y'));
    session.type("aE");
    EXPECT_EQ(session.outcome(), 0);
    EXPECT_TRUE(session.restored());
  }
}

TEST_F(LateScreenTest, WorkIsSeenWhileKeysWait) {
  for (void (*const program)() : kModes) {
    Application session(program);
    ASSERT_TRUE(session.fills('-'));
    session.type("aWbc");
    EXPECT_TRUE(session.fills('W'));
    session.send(SIGUSR1);
    EXPECT_TRUE(session.fills('c'));
    session.type("Pbd");
    for (int changes = 0; changes < 3; ++changes) {
      const std::string seen = session.emulator.row_text(1);
      EXPECT_TRUE(session.wait_until([&] { return session.emulator.row_text(1) != seen; }));
    }
    session.send(SIGUSR1);
    EXPECT_TRUE(session.fills('d'));
  }
}

TEST_F(LateScreenTest, TheTerminalIsGivenBackWhileKeysWait) {
  for (void (*const program)() : kModes) {
    for (const int signal : {SIGTERM, SIGTSTP}) {
      Application session(program);
      ASSERT_TRUE(session.fills('-'));
      session.type("aWb");
      session.pass(40);  // less than the screen may be late
      session.send(signal);
      EXPECT_EQ(session.outcome(), signal == SIGTSTP ? W_STOPCODE(SIGTSTP) : SIGTERM);
      EXPECT_TRUE(session.restored());
      session.pass(300);
      EXPECT_TRUE(session.restored());
      if (signal == SIGTERM) continue;
      session.send(SIGCONT);
      session.send(SIGUSR1);
      EXPECT_TRUE(session.fills('b'));
    }
  }
  Application session(run_vt100_application);  // this screen stays, moved up by a row
  ASSERT_TRUE(session.fills('-'));
  session.type("aX");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
  EXPECT_TRUE(session.is_filled('a', kScreenRows - 1));
}

TEST_F(LateScreenTest, ABusyLineGetsTheLastScreenAlone) {
  for (void (*const program)() : kModes) {
    Application session(program);
    ASSERT_TRUE(session.fills('-'));
    const long before = session.received();
    backlog() = 4000;
    for (const char* const key : {"a", "b", "c"}) {
      session.type(key);
      session.pass(200);
    }
    EXPECT_EQ(session.received(), before);
    backlog() = 63;  // room for a byte: a row each time
    EXPECT_TRUE(session.fills('c'));
    EXPECT_LT(session.received() - before, kFullScreen);
    backlog() = 0;
    session.type("d");
    EXPECT_TRUE(session.fills('d'));
  }
}

TEST_F(LateScreenTest, ASlowLineThatReportsNothingIsEstimated) {
  Application session(run_at_19200_baud);
  ASSERT_TRUE(session.fills('-'));
  const auto start = std::chrono::steady_clock::now();
  const long before = session.received();
  for (const char* const key : {"a", "b", "c", "d", "e", "f"}) {
    session.type(key);
    session.pass(100);
  }
  EXPECT_TRUE(session.fills('f'));
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
  EXPECT_LT(session.received() - before, passed.count() * 1920 + 300);
}

// A VT100 whose line and keyboard a test sets.
struct FakeVt100 {
  bool keys_wait = false;
  int room = kAnyRoom;
  std::string bytes;
};
FakeVt100 fake;

constexpr ScreenLine kFakeLine{.is_held = [] { return true; },
                               .keys_wait = [] { return fake.keys_wait; },
                               .room = [] { return fake.room; }};

int below(std::mt19937& random, int end) {
  return static_cast<int>(random() % static_cast<unsigned>(end));
}

// Writes letters or blanks, in parts in reverse, into a row of the screen and of the cells.
void write_something(std::mt19937& random, ConsoleBuffer& cells) {
  const int row = 1 + below(random, kScreenRows);
  const int column = 1 + below(random, kScreenColumns);
  const int count = 1 + below(random, kScreenColumns + 1 - column);
  ScreenRow from;
  row_fill(from, ' ', 0);
  for (int each = column; each < column + count; ++each) {
    const auto index = static_cast<std::size_t>(each - 1);
    from.characters[index] = static_cast<std::uint8_t>(below(random, 3) == 0 ? ' ' : 'a' + row);
    from.attributes[index] = each / 4 % 3 == 0 ? kAttributeReverse : std::uint8_t{0};
    cells[static_cast<std::size_t>(row - 1) * kScreenColumns + index] = {
        from.characters[index], from.attributes[index] != 0 ? kColourReverse : kColourPlain};
  }
  terminal_write_row(from, row, column, count);
}

TEST_F(LateScreenTest, ALateVt100ShowsTheCellsOfTheLastRefresh) {
  static Console console = recording_console();
  console.line = &kFakeLine;
  console.send = [](std::string_view bytes) { fake.bytes += bytes; };
  setenv("COMFAXUSEVT100", "", 1);
  terminal_reset(&console);
  EXPECT_TRUE(terminal_is_vt100());
  unsetenv("COMFAXUSEVT100");
  std::mt19937 random(22);
  Emulator emulator(kScreenColumns, kScreenRows, false);
  ConsoleBuffer written{};
  ConsoleBuffer refreshed{};
  for (int step = 0; step < 3000; ++step) {
    write_something(random, written);
    if (below(random, 3) != 0) continue;
    const ScreenLock guard;  // of the thread that sends a late screen
    constexpr int kRooms[] = {kAnyRoom, 0, 1, 100};
    fake.keys_wait = below(random, 2) == 0;
    fake.room = kRooms[below(random, 4)];
    terminal_refresh();
    refreshed = written;
    if (below(random, 2) == 0) write_something(random, written);
    if (below(random, 3) != 0) continue;
    fake.keys_wait = false;
    fake.room = below(random, 2) == 0 ? kAnyRoom : 1;
    screen_catch_up();
    emulator.feed(fake.bytes);
    fake.bytes.clear();
    ASSERT_EQ(emulator.difference(refreshed), "") << step;
    ASSERT_EQ(emulator.cursor(), (CursorPosition{1, 1}));
  }
  const ScreenLock guard;
  screen_finish();
  terminal_reset(nullptr);
}

}  // namespace
}  // namespace marigold::inner::test
