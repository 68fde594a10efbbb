// SPDX-License-Identifier: GPL-3.0-or-later
// The Windows console as its user sees it: programs in a console of their own, keys typed as events.
#include <algorithm>
#include <fstream>

#include "runtime/platform/stop_signals.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/terminal/terminal.h"
#include "tests/support/process.h"
#include "tests/support/support.h"
#include "tests/support/windows/console_session.h"

namespace marigold::inner::test {
namespace {

constexpr UINT kCodePages[] = {437, 850, CP_UTF8};

// Every glyph in four colours below a first row of text.
ConsoleBuffer screen_with(const std::string& first_row) {
  constexpr std::uint16_t kColours[] = {kColourPlain, kColourReverse, kColourBright,
                                        kColourReverseBright};
  ConsoleBuffer cells{};
  for (std::size_t index = kScreenColumns; index < cells.size(); ++index)
    cells[index] = {static_cast<std::uint8_t>(index % 256), kColours[index / 300 % 4]};
  for (std::size_t index = 0; index < first_row.size(); ++index)
    cells[index].character = static_cast<std::uint8_t>(first_row[index]);
  return cells;
}

bool exists(const char* path) {
  return std::ifstream(path).good();
}

BOOL WINAPI go_on(DWORD) {
  return TRUE;
}

void follow(char key) {
  if (key == 'q') std::exit(0);
  if (key == 'a') std::abort();
  if (key == 'f') *reinterpret_cast<volatile int*>(std::uintptr_t{16}) = 1;
  if (key == 'h') {
    const StopSignalsHold hold;
    write_file("holding", "");
    while (!stop_signals_pending())
      sleep_us(1000);
  }
  if (key == 'l') {
    system_console().leave();
    SetConsoleCtrlHandler(go_on, TRUE);
    while (!exists("come back"))
      sleep_us(1000);
  }
}

// Shows the number, the code and the character of its last key. "q" ends it, "a" aborts it, "f"
// writes where nothing is, "h" holds Ctrl-Break back until it comes, "l" gives the console back
// until there is a file, and survives Ctrl-Break from then on.
constexpr auto kProgram = [](int with_screen) {
  SetConsoleCtrlHandler(nullptr, FALSE);  // a new group ignores Ctrl-C
  const Console& console = system_console();
  std::string last = "ready";
  for (int count = 1;; ++count) {
    if (with_screen != 0) {
      console.write(screen_with(last));
      console.place_cursor(5, 7);
    }
    std::uint8_t character = 0;
    const int code = key_read(character);
    follow(static_cast<char>(character));
    last = std::to_string(count) + ": " + std::to_string(code) + " " + std::to_string(character);
  }
};

struct Session : WorkDirectory, ConsoleSession {
  explicit Session(UINT code_page = 437) : ConsoleSession(code_page) {}
  void run(bool with_screen = true, const Streams& streams = Streams()) {
    using Entry = Registered<decltype(kProgram)>;
    std::string program(32'768, '\0');
    program.resize(GetModuleFileNameA(nullptr, program.data(), static_cast<DWORD>(program.size())));
    start(
        "\"" + program + "\" --child \"" + Entry::entry.name() + "\" " + (with_screen ? "1" : "0"),
        streams);
  }
  bool comes(const std::string& first_row) {
    const ConsoleBuffer expected = screen_with(first_row);
    return wait_until([&] { return shows(expected); });
  }
  bool comes(int row, std::u16string_view text) {
    return wait_until([&] { return row_text(row).find(text) != std::u16string::npos; });
  }
};

}  // namespace

TEST(ConsoleWindowsTest, ShowsEveryGlyphInEveryCodePage) {
  for (const UINT code_page : kCodePages) {
    Session session(code_page);
    session.run();
    ASSERT_TRUE(session.comes("ready")) << code_page;
    EXPECT_TRUE(
        session.wait_until([&] { return session.cursor().X == 4 && session.cursor().Y == 6; }));
    session.type(u"\u00E4");  // 132 of code page 437, 228 of ISO 8859-1
    ASSERT_TRUE(session.comes("1: 1 228")) << code_page;
    session.type(u"q");
    EXPECT_EQ(session.outcome(), 0U);
    EXPECT_TRUE(session.restored()) << code_page;
  }
}

TEST(ConsoleWindowsTest, EveryKeyHasItsCode) {
  constexpr std::uint32_t kMain = kEventEnhanced;
  constexpr std::uint32_t kLeftControl = 0x8;
  const auto control = [](char16_t letter) {
    return KeyEvent{.key = static_cast<std::uint16_t>(letter),
                    .character = static_cast<char16_t>(letter - u'@'),
                    .modifiers = kLeftControl};
  };
  const std::tuple<KeyEvent, int, int> rows[] = {{{.key = VK_F1}, 14, ';'},
                                                 {{.key = VK_F2}, 15, '<'},
                                                 {{.key = VK_F3}, 16, '='},
                                                 {{.key = VK_F4}, 17, '>'},
                                                 {{.key = VK_F5}, 18, '?'},
                                                 {{.key = VK_F6}, 19, '@'},
                                                 {{.key = VK_F7}, 20, 'A'},
                                                 {{.key = VK_F8}, 21, 'B'},
                                                 {{.key = VK_F9}, 30, 'C'},
                                                 {{.key = VK_F10}, 0, 'D'},
                                                 {{.key = VK_HOME, .modifiers = kMain}, 24, 'G'},
                                                 {{.key = VK_UP, .modifiers = kMain}, 10, 'H'},
                                                 {{.key = VK_PRIOR, .modifiers = kMain}, 27, 'I'},
                                                 {{.key = VK_LEFT, .modifiers = kMain}, 8, 'K'},
                                                 {{.key = VK_RIGHT, .modifiers = kMain}, 9, 'M'},
                                                 {{.key = VK_END, .modifiers = kMain}, 25, 'O'},
                                                 {{.key = VK_DOWN, .modifiers = kMain}, 11, 'P'},
                                                 {{.key = VK_NEXT, .modifiers = kMain}, 26, 'Q'},
                                                 {{.key = VK_INSERT, .modifiers = kMain}, 12, 'R'},
                                                 {{.key = VK_DELETE, .modifiers = kMain}, 7, 'S'},
                                                 {{.key = VK_UP}, 0, 'H'},  // on the keypad
                                                 {control(u'A'), 5, 0},
                                                 {control(u'C'), 23, 0},
                                                 {control(u'D'), 29, 0},
                                                 {control(u'L'), 28, 0},
                                                 {control(u'R'), 0, 0},
                                                 {control(u'Y'), 22, 0},
                                                 {{.key = VK_BACK, .character = u'\b'}, 6, 0},
                                                 {{.key = VK_TAB, .character = u'\t'}, 2, 0},
                                                 {{.key = VK_RETURN, .character = u'\r'}, 13, 0},
                                                 {{.key = VK_ESCAPE, .character = u'\x1B'}, 23, 0},
                                                 {{.key = 'E', .character = u'e'}, 1, 'e'},
                                                 {{.character = u'\u00E0'}, 1, 224}};  // no prefix
  Session session;
  session.run();
  ASSERT_TRUE(session.comes("ready"));
  int count = 0;
  for (const auto& [event, code, character] : rows) {
    session.type({event});
    ASSERT_TRUE(session.comes(std::to_string(++count) + ": " + std::to_string(code) + " " +
                              std::to_string(character)))
        << event.key;
  }
  // Nothing of these is a key, the last one is.
  session.type(u"\u03B1\u20AC");
  session.type({{.key = VK_SHIFT}, {.key = VK_CANCEL, .character = 3}, {.character = u'z'}});
  EXPECT_TRUE(session.comes(std::to_string(++count) + ": 1 122"));
}

TEST(ConsoleWindowsTest, WhateverEndsTheProgramTheConsoleIsRestored) {
  constexpr DWORD kAborted = 3;
  // Any: Wine's is not the one of Windows, and gets lost at times.
  constexpr DWORD kOfAnEvent = 0xC000013A;
  const std::tuple<const char16_t*, bool, DWORD> rows[] = {{u"q", false, 0},
                                                           {u"a", false, kAborted},
                                                           {u"f", false, STATUS_ACCESS_VIOLATION},
                                                           {u"", true, kOfAnEvent},
                                                           {u"h", true, kOfAnEvent}};
  for (const auto& [key, is_stopped, code] : rows) {
    for (const bool with_screen : {true, false}) {
      Session session;
      session.run(with_screen);
      ASSERT_TRUE(with_screen ? session.comes("ready")
                              : session.wait_until([&] { return !session.restored(); }));
      EXPECT_FALSE(session.restored());
      session.type(key);
      if (key == std::u16string_view(u"h")) session.wait_until([] { return exists("holding"); });
      if (is_stopped) session.interrupt();
      const DWORD outcome = session.outcome();
      EXPECT_TRUE(outcome == code || (is_stopped && outcome != STILL_ACTIVE)) << outcome;
      EXPECT_TRUE(session.restored()) << code;
    }
  }
}

// "h" begins work without a call, while a key waits.
TEST(ConsoleWindowsTest, KeysTypedAheadAreTakenAndWorkIsSeenWhileTheyWait) {
  Session session;
  session.run();
  ASSERT_TRUE(session.comes("ready"));
  session.type(u"bcdegijkmnorstuvwxyz0z");
  EXPECT_TRUE(session.comes("22: 1 122"));
  session.type(u"xhy");
  EXPECT_TRUE(session.comes("23: 1 120"));
  session.interrupt();
  session.outcome();
  EXPECT_TRUE(session.restored());
}

TEST(ConsoleWindowsTest, TheConsoleIsLeftAndTakenAgain) {
  Session session;
  session.run();
  ASSERT_TRUE(session.comes("ready"));
  session.type(u"l");
  EXPECT_TRUE(session.wait_until([&] { return session.restored(); }));
  write_file("come back", "");
  EXPECT_TRUE(session.comes("1: 1 108"));
  session.interrupt();  // the program's own handler goes on
  EXPECT_TRUE(session.wait_until([&] { return session.restored(); }));
  EXPECT_TRUE(session.comes("1: 1 108"));
  session.type(u"q");
  EXPECT_EQ(session.outcome(), 0U);
  EXPECT_TRUE(session.restored());
}

TEST(ConsoleWindowsTest, AScreenThatTheUserHasMadeSmallerIsPaintedAgain) {
  Session session;
  session.run();
  ASSERT_TRUE(session.comes("ready"));
  session.resize(60, 20);
  EXPECT_TRUE(session.comes("ready"));
  session.type(u"q");
  EXPECT_EQ(session.outcome(), 0U);
  EXPECT_TRUE(session.restored());
}

TEST(ConsoleWindowsTest, WithoutAConsoleTheProgramEnds) {
  using enum ConsoleSession::Output;
  const std::tuple<ConsoleSession::Streams, std::u16string> rows[] = {
      {{.input = kNowhere, .errors = kConsole}, u"standard input is not a terminal"},
      {{.output = kNowhere, .errors = kConsole}, u"standard output is not a terminal"}};
  for (const auto& [streams, message] : rows) {
    Session session;
    session.run(true, streams);
    EXPECT_EQ(session.outcome(), 1U);
    EXPECT_TRUE(session.comes(1, message));
  }
}

// ---- The programs

TEST(ConsoleWindowsTest, TheWalkThroughTheWindowsIsShown) {
  for (const UINT code_page : kCodePages) {
    SCOPED_TRACE(code_page);
    Session session(code_page);
    session.start(WINDOWS_PATH);
    ASSERT_TRUE(session.comes(24, u"F1 end  F2 list"));
    // Window 1 begins in row 4, column 4; window 3 six rows and 24 columns further.
    const std::u16string line(32, u'\u2500');
    EXPECT_TRUE(session.comes(4, u"   \u250C" + line + u"\u2510"));
    EXPECT_TRUE(session.comes(10, u"\u250C" + line + u"\u2510"));
    EXPECT_TRUE(session.comes(18, u"\u2514" + line + u"\u2518"));
    EXPECT_TRUE(session.comes(5, u"\u2502 Window 1"));
    EXPECT_EQ(session.colour(5, 6), kColourReverseBright);
    EXPECT_EQ(session.colour(5, 5), kColourPlain);
    session.type({{.key = VK_F3}});
    ASSERT_TRUE(session.comes(14, u"Name of the bed:"));
    session.type(u"\u00C4\u00DF");
    EXPECT_TRUE(session.comes(14, u"\u00C4\u00DF"));
    session.type({{.key = 'C', .character = 3, .modifiers = kEventControl}});  // leaves the field
    EXPECT_TRUE(session.wait_until(
        [&] { return session.row_text(14).find(u"Name") == std::u16string::npos; }));
    session.type({{.key = VK_F1}});
    EXPECT_EQ(session.outcome(), 0U);
    EXPECT_TRUE(session.restored());
  }
}

// Without a look at the sequences, which Wine's console does not know.
TEST(ConsoleWindowsTest, AVt100IsWrittenByCodePage437) {
  Session session(CP_UTF8);
  setenv("COMFAXUSEVT100", "1", 1);
  session.start(WINDOWS_PATH);
  unsetenv("COMFAXUSEVT100");
  EXPECT_TRUE(session.wait_until([&] {
    const std::u16string text = session.text();
    return text.find(u"\u250C\u2500\u2500") != std::u16string::npos &&
           text.find(u"F1 end") != std::u16string::npos;
  }));
  EXPECT_FALSE(session.modes_restored());
  session.type({{.key = VK_F1}});
  EXPECT_EQ(session.outcome(), 0U);
  EXPECT_TRUE(session.modes_restored());
}

TEST(ConsoleWindowsTest, AListIsShownInTheViewer) {
  for (const UINT code_page : kCodePages) {
    SCOPED_TRACE(code_page);
    Session session(code_page);
    write_file("l.list",
               "list L\n  PL 6 EZ 1 LZ 6 ES 1 CPI 10\nbody LINE\n|K\xC3\xA4rnten {.NAME     }\n");
    write_file("r.csv", "NAME\n\xC3\x96tzi\nAnna\n");
    session.start(MARIGOLD " lists compile l.list -o .");
    ASSERT_EQ(session.outcome(), 0U);
    session.start(MARIGOLD " lists print L -d . --records r.csv --to screen");
    ASSERT_TRUE(session.comes(24, u"F1=Ende"));
    EXPECT_TRUE(session.comes(1, u"Ausgabe: L "));
    EXPECT_TRUE(session.comes(2, u"\u250C" + std::u16string(78, u'\u2500') + u"\u2510"));
    EXPECT_TRUE(session.comes(3, u"\u2502K\u00E4rnten \u00D6tzi "));
    EXPECT_TRUE(session.comes(4, u"\u2502K\u00E4rnten Anna "));
    session.type(u"s\u00D6tzi\r");
    EXPECT_TRUE(session.wait_until([&] { return session.colour(3, 10) >= kColourReverse; }));
    EXPECT_EQ(session.colour(3, 9), kColourPlain);
    session.type({{.key = VK_F1}});
    EXPECT_EQ(session.outcome(), 0U);
    EXPECT_TRUE(session.restored());
  }
}

}  // namespace marigold::inner::test
