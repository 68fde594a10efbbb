#include "runtime/wi/screen_update.h"

#include <random>

#include "tests/support/support.h"
#include "tests/wi/emulator.h"

namespace marigold::test {
namespace {

constexpr std::uint16_t kColours[] = {kColourPlain, kColourBright, kColourReverse,
                                      kColourReverseBright};

ConsoleCell& at(ConsoleBuffer& cells, int row, int column) {
  return cells[static_cast<std::size_t>((row - 1) * kScreenColumns + column - 1)];
}

// A terminal that gets all updates and shall show what was wanted.
struct Display {
  explicit Display(int columns = kScreenColumns, int rows = kScreenRows, bool utf8 = true)
      : emulator(columns, rows, utf8) {
    emulator.feed("\x1b[?7l\x1b)0");
    std::string bytes;
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

struct Area {
  int row;
  int column;
  int rows;
  int columns;
};

Area any_area(std::mt19937& random) {
  const auto below = [&](int end) {
    return static_cast<int>(random() % static_cast<unsigned>(end));
  };
  const Area area{1 + below(kScreenRows), 1 + below(kScreenColumns), 1 + below(5), 1 + below(40)};
  return {area.row, area.column, std::min(area.rows, kScreenRows + 1 - area.row),
          std::min(area.columns, kScreenColumns + 1 - area.column)};
}

// Blanks, text, any bytes or every other cell, in one colour.
void change_something(ConsoleBuffer& cells, std::mt19937& random) {
  const Area area = any_area(random);
  const std::uint16_t colour = kColours[random() % 4];
  const unsigned content = random() % 4;
  for (int row = area.row; row < area.row + area.rows; ++row) {
    for (int column = area.column; column < area.column + area.columns; ++column) {
      if (content == 3 && random() % 2 == 0) continue;
      const auto any = static_cast<std::uint8_t>(random());
      const auto letter = static_cast<std::uint8_t>('a' + any % 26);
      at(cells, row, column) = {content == 0   ? std::uint8_t{' '}
                                : content == 1 ? any
                                               : letter,
                                colour};
    }
  }
}

void place_cursor_somewhere(WantedCursor& cursor, std::mt19937& random) {
  cursor.visible = random() % 4 != 0;
  cursor.position = {1 + static_cast<int>(random() % kScreenColumns),
                     1 + static_cast<int>(random() % kScreenRows)};
}

}  // namespace

TEST(ScreenUpdateTest, TheTerminalShowsWhatIsWanted) {
  std::mt19937 random(20);
  for (const bool has_axis_positions : {true, false}) {
    Display display;
    display.kind.has_axis_positions = has_axis_positions;
    for (int step = 0; step < 700; ++step) {
      for (unsigned count = random() % 3; count > 0; --count)
        change_something(display.wanted, random);
      place_cursor_somewhere(display.cursor, random);
      display.update();
      ASSERT_EQ(display.emulator.difference(display.wanted), "") << step;
      ASSERT_EQ(display.emulator.cursor_visible(), display.cursor.visible);
      if (display.cursor.visible) {
        ASSERT_EQ(display.emulator.cursor(), display.cursor.position) << step;
      }
      ASSERT_EQ(display.update(), "") << step;
    }
  }
}

TEST(ScreenUpdateTest, NothingElseIsTouchedOnALargerTerminal) {
  std::mt19937 random(7);
  Display display(100, 30);
  display.emulator.feed("\x1b[25;1Hbelow\x1b[30;90Hlast row\x1b[H");
  for (int step = 0; step < 200; ++step) {
    change_something(display.wanted, random);
    place_cursor_somewhere(display.cursor, random);
    display.update();
    ASSERT_EQ(display.emulator.difference(display.wanted), "") << step;
    for (int row = 1; row <= kScreenRows; ++row)
      ASSERT_LE(display.emulator.row_text(row).size(), std::size_t{kScreenColumns});
    ASSERT_EQ(display.emulator.row_text(25), "below");
    ASSERT_EQ(display.emulator.row_text(30), std::string(89, ' ') + "last row");
  }
}

TEST(ScreenUpdateTest, TheGraphicSetIsEnteredForFramesOnly) {
  Display display(kScreenColumns, kScreenRows, false);
  display.kind = {.glyphs = terminal_glyphs(TerminalCharacters::kGraphicSet),
                  .has_axis_positions = false};
  const std::uint8_t cells[] = {218, 196, 'A', 196, 'z', 179, ' ', 'a'};
  for (int column = 1; const std::uint8_t byte : cells)
    at(display.wanted, 3, column++).character = byte;
  const std::string bytes = display.update();
  EXPECT_EQ(display.emulator.difference(display.wanted), "");
  EXPECT_EQ(bytes,
            "\n\n\x0elqAq\x0fz\x0ex \x0f"
            "a\x1b[H");
}

// Sizes that a serial line feels; each with the cursor at rest in the last row.
TEST(ScreenUpdateTest, ChangesStaySmall) {
  struct {
    Area area;
    std::uint8_t character;
    std::uint16_t colour;
    std::size_t most;
  } const rows[] = {
      {{1, 1, 24, 80}, '#', kColourPlain, 2090}, {{12, 1, 1, 80}, '#', kColourPlain, 94},
      {{12, 21, 1, 10}, '#', kColourPlain, 24},  {{12, 40, 1, 1}, '#', kColourPlain, 16},
      {{1, 1, 24, 80}, ' ', kColourPlain, 180},  {{12, 1, 1, 80}, ' ', kColourBright, 16},
      {{12, 40, 1, 1}, '#', kColourBright, 24},  {{1, 1, 24, 80}, 'x', kColourPlain, 0}};
  for (const auto& row : rows) {
    Display display;
    display.wanted.fill({'x', kColourPlain});
    display.cursor.position = {1, kScreenRows};
    display.update();
    for (int y = row.area.row; y < row.area.row + row.area.rows; ++y) {
      for (int x = row.area.column; x < row.area.column + row.area.columns; ++x)
        at(display.wanted, y, x) = {row.character, row.colour};
    }
    EXPECT_LE(display.update().size(), row.most) << row.area.columns << row.character;
    EXPECT_EQ(display.emulator.difference(display.wanted), "");
  }
}

TEST(ScreenUpdateTest, NeighbouringChangesAreJoined) {
  struct {
    int second_column;  // of two changes in row 1; the first is in column 1
    std::uint8_t between;
    const char* expected;  // up to the way back to the first column
  } const rows[] = {{3, 'x', "#x#\r"},
                    {6, 'x', "#xxxx#\r"},
                    {8, 'x', "#\x1b[6C#\r"},
                    {4, 196, "#\x1b[2C#\r"},
                    {11, 'x', "#\x1b[9C#\r"}};
  for (const auto& row : rows) {
    Display display;
    display.wanted.fill({row.between, kColourPlain});
    display.update();
    at(display.wanted, 1, 1).character = '#';
    at(display.wanted, 1, row.second_column).character = '#';
    EXPECT_EQ(display.update(), row.expected);
  }
}

}  // namespace marigold::test
