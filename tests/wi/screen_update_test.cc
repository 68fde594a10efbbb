// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/screen_update.h"

#include <algorithm>
#include <random>

#include "tests/support/emulator.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

ConsoleCell& at(ConsoleBuffer& cells, int row, int column) {
  return cells[static_cast<std::size_t>((row - 1) * kScreenColumns + column - 1)];
}

// A terminal that gets all updates and must show the wanted screen.
struct Display {
  explicit Display(int columns = kScreenColumns, int rows = kScreenRows, bool utf8 = true)
      : emulator(columns, rows, utf8) {
    std::string bytes = "\x1b[?7l\x1b)0";
    screen_erase(shown, bytes);
    emulator.feed(bytes);
  }
  std::string update() {
    std::string bytes;
    screen_update(shown, wanted, cursor, kind, bytes);
    emulator.feed(bytes);
    return bytes;
  }

  Emulator emulator;
  ShownScreen shown;
  ConsoleBuffer wanted{};
  WantedCursor cursor;
  TerminalKind kind;
};

int below(std::mt19937& random, int end) {
  return static_cast<int>(random() % static_cast<unsigned>(end));
}

// Changes blanks, any bytes, letters, or every other cell of them, in one colour.
void change_something(Display& display, std::mt19937& random) {
  constexpr std::uint16_t kColours[] = {7, 15, 112, 240};
  const int top = 1 + below(random, kScreenRows);
  const int left = 1 + below(random, kScreenColumns);
  const int bottom = std::min(top + below(random, 5), kScreenRows);
  const int right = std::min(left + below(random, 40), kScreenColumns);
  const std::uint16_t colour = kColours[random() % 4];
  const unsigned content = random() % 4;
  for (int row = top; row <= bottom; ++row) {
    for (int column = left; column <= right; ++column) {
      const int any = below(random, 256);
      if (content == 3 && any % 2 == 0) continue;
      const int character = content == 0 ? ' ' : content == 1 ? any : 'a' + any % 26;
      at(display.wanted, row, column) = {static_cast<std::uint8_t>(character), colour};
    }
  }
  display.cursor.visible = below(random, 4) != 0;
  display.cursor.position = {left, bottom};
}

}  // namespace

TEST(ScreenUpdateTest, TheTerminalShowsWhatIsWantedAndNothingElseIsTouched) {
  std::mt19937 random(20);
  for (const bool larger : {false, true}) {
    Display display(larger ? 100 : kScreenColumns, larger ? 30 : kScreenRows);
    display.kind.has_axis_positions = larger;
    if (larger) display.emulator.feed("\x1b[25;1Hbelow\x1b[H");
    for (int step = 0; step < 700; ++step) {
      for (int count = below(random, 3); count >= 0; --count)
        change_something(display, random);
      display.update();
      const Emulator& seen = display.emulator;
      ASSERT_EQ(seen.difference(display.wanted), "") << step;
      ASSERT_EQ(seen.cursor_visible(), display.cursor.visible);
      ASSERT_TRUE(!seen.cursor_visible() || seen.cursor() == display.cursor.position) << step;
      ASSERT_EQ(display.update(), "") << step;
      for (int row = 1; row <= kScreenRows; ++row)
        ASSERT_LE(seen.row_text(row).size(), std::size_t{kScreenColumns});
      ASSERT_EQ(seen.row_text(25), larger ? "below" : "");
    }
  }
}

// Each part has its row or two, and the next one begins below it, so that no row waits for ever.
TEST(ScreenUpdateTest, AScreenThatChangesBetweenItsPartsIsWholeInTheEnd) {
  std::mt19937 random(21);
  Display display;
  for (int step = 0; step < 300; ++step) {
    bool is_whole = false;
    for (int parts = 0; !is_whole; ++parts) {
      ASSERT_LE(parts, 2 * kScreenRows) << step;
      if (parts < kScreenRows) change_something(display, random);
      std::string bytes;
      is_whole =
          screen_update(display.shown, display.wanted, display.cursor, display.kind, bytes, 1);
      display.emulator.feed(bytes);
    }
    ASSERT_EQ(display.emulator.difference(display.wanted), "") << step;
    ASSERT_EQ(display.emulator.cursor_visible(), display.cursor.visible);
    ASSERT_FALSE(screen_differs(display.shown, display.wanted, display.cursor));
  }
}

TEST(ScreenUpdateTest, TheGraphicSetIsEnteredForFramesOnly) {
  Display display(kScreenColumns, kScreenRows, false);
  display.kind.glyphs = terminal_glyphs(TerminalCharacters::kGraphicSet);
  display.kind.has_axis_positions = false;
  for (int column = 1; const unsigned char byte : "\xDA\xC4\x41\xC4z\xB3 a"s)
    at(display.wanted, 3, column++).character = byte;
  EXPECT_EQ(display.update(), "\n\n\x0elqAq\x0fz\x0ex \x0f\x61\x1b[H");
  EXPECT_EQ(display.emulator.difference(display.wanted), "");
}

// Sizes that matter on a serial line: changed rows, columns, character, most bytes. The cursor
// rests in the last row.
TEST(ScreenUpdateTest, ChangesStaySmall) {
  const std::tuple<int, int, char, std::size_t> rows[] = {
      {24, 80, '#', 2090}, {1, 80, '#', 94}, {1, 10, '#', 24}, {1, 1, '#', 16},
      {24, 80, ' ', 180},  {1, 80, ' ', 16}, {24, 80, 'x', 0}};
  for (const auto& [height, width, character, most] : rows) {
    Display display;
    display.wanted.fill({'x', kColourPlain});
    display.cursor.position = {1, kScreenRows};
    display.update();
    for (int row = 12 - height / 2; row < 12 + (height + 1) / 2; ++row)
      for (int column = 81 - width; column <= 80; ++column)
        at(display.wanted, row + 1, column).character = static_cast<std::uint8_t>(character);
    EXPECT_LE(display.update().size(), most) << height << " by " << width;
    EXPECT_EQ(display.emulator.difference(display.wanted), "");
  }
}

}  // namespace marigold::inner::test
