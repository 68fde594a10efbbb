#include "runtime/wi/console.h"

#include "tests/support/support.h"
#include "tests/support/terminal_session.h"

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

struct Session : TerminalSession {
  explicit Session(unsigned short columns = 90, unsigned short rows = 30)
      : TerminalSession(run_program, columns, rows) {}
  bool shows(const std::string& first_row) {
    const ConsoleBuffer expected = screen_with(first_row);
    return wait_until([&] { return emulator.difference(expected).empty(); });
  }
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
  TerminalSession no_output([] {
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
