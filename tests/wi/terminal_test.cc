// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/terminal/terminal.h"

#include <algorithm>
#include <utility>

#include "runtime/core/settings.h"
#include "runtime/wi/console/console_size.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

struct TerminalTest : testing::Test {
  TerminalTest() {
    clearenv();
    settings_read();
    open_subsystems().window_system = true;
    recording_reset();
    terminal_reset(&recording_console());
  }
  ~TerminalTest() override { open_subsystems().window_system = false; }

  // Returns a record with these characters from column 1, and these attributes.
  static ScreenRow row_of(const std::string& characters, const std::vector<int>& attributes = {}) {
    ScreenRow row;
    row_fill(row, ' ', 0);
    std::ranges::copy(characters, row.characters.begin());
    std::ranges::copy(attributes, row.attributes.begin());
    return row;
  }
  static void use_vt100() {
    setenv("COMFAXUSEVT100", "1", 1);
    terminal_reset(&recording_console());
    EXPECT_TRUE(terminal_is_vt100());
    unsetenv("COMFAXUSEVT100");  // the mode is chosen by now
  }
  // Returns the bytes that reach standard output.
  template <typename Call>
  static std::string bytes_of(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
  }
};

TEST_F(TerminalTest, OperationsCallTheirConsoleOrWriteTheirBytes) {
  // The calls while the window system is active, and otherwise; the bytes.
  const std::tuple<void (*)(), const char*, const char*, const char*> rows[] = {
      {[] { errors_of(terminal_start); }, "C", "C", "\x1B[H\x1B[J"},
      {terminal_refresh, "W", "W", "\x1B[1;1H"},
      {[] { terminal_set_cursor(80, 24); }, "P", "P", "\x1B[24;80H"},
      {terminal_clear, "W", "", "\x1B[H\x1B[J"},
      {terminal_refresh, "W", "W", "\x1B[1;1H"},  // clearing has moved the cursor
      {[] { terminal_show_cursor(false); }, "H", "H", ""},
      {terminal_bell, "", "", "\a"},
      {terminal_end, "WWVPCL", "", "\x1B[H\x1B[J\x1B[1;1H\x1B[24;1H"}};
  EXPECT_FALSE(terminal_is_vt100());
  setenv("COMFAXUSEVT100", "1", 1);  // too late
  EXPECT_EQ(recording().calls, "S");
  for (const bool active : {true, false}) {
    open_subsystems().window_system = active;
    for (const auto& [operation, when_active, otherwise, bytes] : rows) {
      recording().calls.clear();
      EXPECT_EQ(bytes_of(operation), "");
      EXPECT_EQ(recording().calls, active ? when_active : otherwise);
    }
    EXPECT_EQ(recording().column, active ? 1 : 80);
    EXPECT_EQ(recording().row, 24);
  }
  use_vt100();
  EXPECT_EQ(bytes_of(terminal_clear) + bytes_of(terminal_end), "");
  open_subsystems().window_system = true;
  for (const auto& [operation, when_active, otherwise, bytes] : rows)
    EXPECT_EQ(bytes_of(operation), bytes);
  EXPECT_EQ(recording().calls, "L");
}

TEST_F(TerminalTest, CellsReachTheConsoleAtTheNextRefresh) {
  const std::pair<int, int> colours[] = {{0, 7},    {32, 15}, {64, 112},
                                         {96, 240}, {18, 7},  {114, 240}};
  for (const auto& [attribute, colour] : colours) {
    terminal_write_row(row_of("\xE4", {attribute}), 24, 1, 1);
    terminal_refresh();
    EXPECT_EQ(recording().cell(24, 1), (ConsoleCell{132, static_cast<std::uint16_t>(colour)}));
  }
  const ScreenRow row = row_of("abc\x80\x04\x0B", {0, 0, 0, 0, 1, 1});
  terminal_write_row(row, 2, 2, 5);
  EXPECT_EQ(recording().text(2), std::string(80, ' '));
  terminal_refresh();
  EXPECT_EQ(recording().text(2), " bc\0\xC4\0"s + std::string(74, ' '));
  terminal_write_row(row_of(""), 2, 3, 1000);  // not beyond the row
  terminal_write_row(row, 0, 1, 80);
  terminal_write_row(row, 25, 1, 80);
  terminal_write_row(row, 3, 0, 80);
  terminal_write_row(row, 3, 1, -1);
  terminal_refresh();
  EXPECT_EQ(recording().text(2), " b" + std::string(78, ' '));
  EXPECT_EQ(recording().text(1) + recording().text(3), std::string(160, ' '));
  std::array<std::uint8_t, kLineDrawingCodes> codes{};
  line_drawing_start(codes);
  terminal_write_row(row_of({codes.begin(), codes.end()}, std::vector<int>(11, 1)), 1, 1, 11);
  terminal_refresh();
  EXPECT_EQ(recording().text(1, 1, 11), "\xBF\xD9\xDA\xC0\xC4\xB3\xC5\xC2\xC1\xC3\xB4");
  terminal_clear();
  EXPECT_EQ(recording().cells, ConsoleBuffer{});
}

TEST_F(TerminalTest, Vt100RowsWaitForTheRefreshAndShowOnlyReverseVideo) {
  use_vt100();
  // More than is kept for one refresh: all of it arrives, in order.
  std::string expected;
  std::string bytes;
  for (int count = 0; count < 1000; ++count) {
    bytes += bytes_of([] { terminal_write_row(row_of("abc"), 3, 2, 2); });
    expected += "\x1B[3;2Hbc";
  }
  EXPECT_EQ(bytes + bytes_of(terminal_refresh), expected + "\x1B[1;1H");
  const std::tuple<std::string, std::vector<int>, std::string> rows[] = {
      {"abcd", {0, 64, 96, 32}, "a\x1B[7mbc\x1B[md"},
      {"abcde", {32, 2, 34, 16, 0}, "abcde"},
      {"abc", {80, 66, 82}, "\x1B[7mabc"},
      {"ab", {66, 16}, "a\x1B[mb"},  // the attribute stays for the next segment
      {"\x02\x04\x00\x0A\x0B"s, {1, 1, 1, 1, 1}, "\xDA\xC4\xBF\xB4."},
      {"\xE4\x80\x1B\x05"s, {0, 0, 0, 65}, "\x84..\x1B[7m\xB3"}};
  for (const auto& [characters, attributes, shown] : rows) {
    const ScreenRow row = row_of(characters, attributes);
    const int count = static_cast<int>(characters.size());
    EXPECT_EQ(bytes_of([&] { terminal_write_row(row, 24, 1, count); }), "");
    EXPECT_EQ(bytes_of(terminal_refresh), "\x1B[24;1H" + shown + "\x1B[1;1H");
  }
}

TEST_F(TerminalTest, NoCellReachesAVt100AsAControlCharacter) {
  // The locale; the bytes of a cent sign as the second byte after a frame's byte 194, and after
  // "a".
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"", "\xC2\x9B", "a\x9B"},
      {"de_DE.ISO-8859-1", "\xC2.", "a."},
      {"de_DE.UTF-8", "\xC2.", "a\x9B"}};
  for (const auto& [locale, behind_frame, behind_letter] : rows) {
    setenv("LC_ALL", locale, 1);
    const bool iso = std::string_view(locale).find("8859") != std::string_view::npos;
    use_vt100();
    const auto shown = [](const std::string& characters, const std::vector<int>& attributes) {
      const ScreenRow row = row_of(characters, attributes);
      const int count = static_cast<int>(characters.size());
      terminal_write_row(row, 1, 1, count);
      const std::string bytes = bytes_of(terminal_refresh);
      return bytes.substr(6, bytes.size() - 12);
    };
    for (int character = 0; character < 256; ++character) {
      const unsigned char byte = shown(std::string(1, static_cast<char>(character)), {0})[0];
      EXPECT_TRUE(byte >= ' ' && byte != 127) << character;
      EXPECT_TRUE(!iso || byte < 128 || byte > 159) << character;
    }
    EXPECT_EQ(shown("\x07\xA2", {1, 0}), behind_frame);
    EXPECT_EQ(shown("a\xA2", {0, 0}), behind_letter);
  }
}

TEST_F(TerminalTest, AVt100sKeyboardIsHeldFromTheDecisionOn) {
  static int taken = 0;
  static bool again = false;
  Console console = recording_console();
  console.take_keyboard = [] { return ++taken == 1 || std::exchange(again, false); };
  setenv("COMFAXUSEVT100", "1", 1);
  terminal_reset(&console);
  EXPECT_TRUE(terminal_is_vt100());
  EXPECT_EQ(taken, 1);
  terminal_write_row(row_of("a"), 1, 1, 1);
  EXPECT_EQ(bytes_of(terminal_refresh), "\x1B[1;1Ha\x1B[1;1H");
  again = true;  // a shell has used the terminal meanwhile
  EXPECT_EQ(bytes_of(terminal_refresh), "\x1B[m\x1B[H\x1B[J\x1B[1;1Ha\x1B[1;1H");
}

TEST_F(TerminalTest, TheTerminalIsGivenBackOnceAndPaintedAgain) {
  ScreenRow last = row_of("");
  last.characters.back() = 'c';
  last.attributes.back() = kAttributeReverse;
  const std::string painted = "\x1B[m\x1B[H\x1B[J\x1B[2;1H  \x1B[7ma\x1B[mb\x1B[24;1H" +
                              std::string(79, ' ') + "\x1B[7mc\x1B[7;5H";
  for (const bool vt100 : {false, true}) {
    terminal_reset(&recording_console());
    if (vt100) use_vt100();
    const auto shown = [vt100](void (*call)()) {
      recording().calls.clear();
      const std::string bytes = bytes_of(call);
      return vt100 ? bytes : recording().calls;
    };
    terminal_write_row(row_of("  ab", {0, 0, 64, 0}), 2, 3, 2);
    terminal_write_row(last, 24, 80, 1);
    bytes_of([] { terminal_set_cursor(5, 7); });
    EXPECT_EQ(shown(terminal_repaint), vt100 ? painted : "W");
    EXPECT_EQ(shown(terminal_end), vt100 ? "\x1B[m\x1B[H\x1B[J\x1B[1;1H\x1B[24;1H" : "WWVPCL");
    EXPECT_EQ(shown(terminal_end), vt100 ? "" : "L");
    terminal_write_row(row_of("d"), 1, 1, 1);
    shown(terminal_refresh);
    EXPECT_NE(shown(terminal_end), vt100 ? "" : "L");
  }
}

// No step makes the window larger than the buffer.
TEST(ConsoleSizeTest, ShrinkingBeginsWithTheWindow) {
  const struct {
    ConsoleSize buffer, window, largest, shrunk, last;
  } rows[] = {{{120, 300}, {120, 30}, {200, 60}, {80, 24}, {80, 24}},
              {{40, 25}, {40, 25}, {80, 24}, {40, 24}, {80, 24}},
              {{96, 20}, {96, 20}, {120, 60}, {80, 20}, {80, 24}},  // as many cells
              {{300, 10}, {120, 10}, {79, 20}, {80, 10}, {79, 20}}};
  for (const auto& [buffer, window, largest, shrunk, last] : rows) {
    const ConsoleSizing sizing = console_sizing(window, largest);
    EXPECT_EQ(sizing.shrunk_window, shrunk);
    EXPECT_EQ(smaller(sizing.shrunk_window, buffer), shrunk);
    EXPECT_EQ(sizing.window, last);
  }
}

}  // namespace marigold::inner::test
