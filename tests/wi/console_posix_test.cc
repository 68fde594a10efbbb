// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/console.h"

#include <algorithm>

#include "marigold/application.h"
#include "runtime/core/line_output.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/isam/common/fatal.h"
#include "runtime/wi/terminal/terminal.h"
#include "tests/support/support.h"
#include "tests/support/terminal_session.h"

namespace marigold::inner::test {
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
// without end, "l" gives the terminal back until the next key, "p" repaints the screen.
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
    if (key == 'p') console.repaint();
    if (key == 'l') {
      console.leave();
      console.read_key();
    }
    keys.append(" ").append(std::to_string(key));
  }
}

// Ends an application in ways that leave a message.
void end_badly(char how) noexcept {
  int window = 0;
  if (how == 't') static_cast<void>(std::string().at(1));  // nothing catches this
  if (how == 'f') raise_fatal(38);
  if (how == 'd') data_fatal("CUST\x1bOMER", 105);
  if (how == 'i') isam::fatal_inconsistency("CUSTOMER", "tree", 7);
  if (how == 's') definition_set_load("TEST");
  for (int count = 0; how == 'w' && count <= kWindows; ++count)
    create_w(window, 1, 1, 3, 3, false);
}

// An application that shows a row in reverse and, from the first SIGUSR1 on, its keys. "x" ends it
// without giving the terminal back, "e" after giving it back, other keys end it badly.
void run_application() {
  sigset_t start;
  sigemptyset(&start);
  sigaddset(&start, SIGUSR1);
  sigprocmask(SIG_BLOCK, &start, nullptr);
  const int errors = dup(STDERR_FILENO);
  dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);  // the language has no table
  setenv("DEFINITION_DIRECTORY", ".", 1);
  runtime_start("test");
  dup2(errors, STDERR_FILENO);
  ScreenRow row;
  const auto show = [&row](std::string_view text) {
    row_fill(row, ' ', kAttributeReverse);
    std::ranges::copy(text, row.characters.begin());
    terminal_write_row(row, 1, 1, kScreenColumns);
    terminal_refresh();
  };
  show("ready");
  int received = 0;
  sigwait(&start, &received);
  for (std::string keys = "keys:";;) {
    show(keys);
    std::uint8_t character = 0;
    const int code = key_read(character);
    if (character == 'x') std::exit(0);
    if (character == 'e') runtime_end();
    if (character == 'e') std::_Exit(0);
    end_badly(static_cast<char>(character));
    keys.append(" ").append(std::to_string(code == kKeyCharacter ? character : -code));
  }
}

void run_vt100_application() {
  setenv("COMFAXUSEVT100", "", 1);
  run_application();
}

struct Application : ApplicationSession {
  explicit Application(void (*program)() = run_vt100_application) : ApplicationSession(program) {}
  bool shows(const std::string& text) {
    return wait_until([&] { return emulator.row_text(1) == text; });
  }
  // Returns the number, from 1, of the row that begins with this text; 0 without one.
  int row_of(const std::string& text) {
    restored();  // reads the pending output
    int row = kScreenRows;
    while (row > 0 && !emulator.row_text(row).starts_with(text))
      --row;
    return row;
  }
};

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
  session.type("x\x1b[A\xc3\xa4\x03\x1b");
  EXPECT_TRUE(session.shows("keys: 120 224 72 132 3 27"));
  session.type("lz");  // any use takes the terminal again
  EXPECT_TRUE(session.shows("keys: 120 224 72 132 3 27 108"));
  session.emulator.feed("\x1b[m\x1b[12;1Hlp: no such printer");
  EXPECT_FALSE(session.emulator.difference(screen_with("keys: 120 224 72 132 3 27 108")).empty());
  session.type("p");
  EXPECT_TRUE(session.shows("keys: 120 224 72 132 3 27 108 112"));
  session.type("q");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
}

TEST(ConsolePosixTest, WhateverEndsTheProgramTheTerminalIsRestored) {
  // Without a key the test sends the signal. Ctrl-\ ends the program, Ctrl-C is a key.
  const std::pair<std::string, int> rows[] = {{"\x03\x1c", SIGQUIT}, {"a", SIGABRT}, {"f", SIGSEGV},
                                              {"", SIGHUP},          {"", SIGINT},   {"", SIGQUIT},
                                              {"", SIGTERM},         {"", SIGABRT},  {"", SIGSEGV},
                                              {"", SIGBUS},          {"", SIGILL},   {"", SIGFPE}};
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

// Bytes arrive unchanged (155, a cent sign, is no control sequence), a byte that is no character is
// Escape; nothing is echoed or edited before the first read.
TEST(ConsolePosixTest, AVt100sKeyboardIsTakenAtTheStart) {
  Application session;
  ASSERT_TRUE(session.shows("ready"));
  session.type("a\x84\x9b\xe4\x7f\x03\x1b[A");
  session.send(SIGUSR1);
  EXPECT_TRUE(session.shows("keys: 97 228 162 -23 -6 -23 -10"));
  for (int row = 2; row <= 24; ++row)
    EXPECT_EQ(session.emulator.row_text(row), "");
}

TEST(ConsolePosixTest, AVt100IsLeftInNormalVideoBelowItsScreen) {
  const std::tuple<const char*, int, int> rows[] = {{"", SIGTERM, SIGTERM},
                                                    {"", SIGSEGV, SIGSEGV},
                                                    {"\x1c", 0, SIGQUIT},
                                                    {"x", 0, 0},
                                                    {"e", 0, 0}};
  for (const auto& [keys, signal, outcome] : rows) {
    Application session;
    ASSERT_TRUE(session.shows("ready"));
    session.send(SIGUSR1);
    ASSERT_TRUE(session.shows("keys:"));
    if (signal != 0) session.send(signal);
    session.type(keys);
    EXPECT_EQ(session.outcome(), outcome);
    EXPECT_TRUE(session.restored());
    EXPECT_EQ(session.emulator.cursor(), (CursorPosition{1, 24})) << outcome << keys;
    EXPECT_FALSE(session.emulator.writes_in_reverse()) << outcome << keys;
  }
}

TEST(ConsolePosixTest, AVt100IsPaintedAgainAfterAStopAndOnControlR) {
  Application session;
  ASSERT_TRUE(session.shows("ready"));
  session.send(SIGUSR1);
  ASSERT_TRUE(session.shows("keys:"));
  session.type("\x1a");
  EXPECT_EQ(session.outcome(), W_STOPCODE(SIGTSTP));
  EXPECT_TRUE(session.restored());
  EXPECT_FALSE(session.emulator.writes_in_reverse());
  session.emulator.feed("\x1b[2J");
  session.send(SIGCONT);
  EXPECT_TRUE(session.shows("keys: 0"));
  session.emulator.feed("\x1b[Hstray\x1b[5;1Hstray");
  session.type("\x12");
  EXPECT_TRUE(session.shows("keys: 0 0"));
  EXPECT_EQ(session.emulator.row_text(5), "");
}

// The messages appear on the shell's screen, in this order and without control sequences.
TEST(ConsolePosixTest, WhateverEndsAnApplicationBadlyCanBeReadAfterwards) {
  const std::tuple<const char*, int, std::vector<std::string>> rows[] = {
      {"f", SIGABRT, {"error", "        38", "st: string too long", "please document"}},
      {"d", SIGABRT, {"str: CUST\\x1BOMER", "error", "       105"}},
      {"i", W_EXITCODE(1, 0), {"FATAL: CUSTOMER", "error "}},
      {"t", SIGABRT, {"terminate called", "  what():  basic_string::at"}},
      {"w", SIGABRT, {"PANIC! No More Windows!", "error", "        23"}},
      {"s", SIGABRT, {"FILETEST     Fehler in Zeile:    2", "error", "         9"}}};
  for (const auto& [key, outcome, lines] : rows) {
    for (void (*const program)() : {run_vt100_application, run_application}) {
      Application session(program);
      ASSERT_TRUE(session.shows("ready"));
      write_file("FILETEST.DES", "BEGINFILE\nNAME NINECHARS");
      session.send(SIGUSR1);
      session.type(key);
      EXPECT_EQ(session.outcome(), outcome);
      EXPECT_TRUE(session.restored());
      int last = 0;
      for (const std::string& line : lines) {
        EXPECT_GT(session.row_of(line), last) << line;
        last = session.row_of(line);
      }
    }
  }
}

TEST(ConsolePosixTest, WithoutWindowsATerminalGetsNoControlCharacters) {
  TerminalSession session([] {
    user_interface_start();
    user_interface().message("a\x1b[2J\nb\tc\xc2\x9bä\x9b", "");
    user_interface().warning("a\r\nb");
    line_output_text(2, 3, "c\x1b[2Jd", 60);
  });
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.wait_until([&] { return !session.emulator.row_text(4).empty(); }));
  const std::string first = session.emulator.row_text(1);
  EXPECT_TRUE(first.starts_with("a\\x1B[2J\\x0Ab   c\\xC2\\x9B")) << first;
  EXPECT_EQ(session.emulator.row_text(2), "a\\x0D");
  EXPECT_EQ(session.emulator.row_text(3), "b");
  EXPECT_EQ(session.emulator.row_text(4), "c\\x1B[2Jd");
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

}  // namespace marigold::inner::test
