#include "runtime/wi/terminal.h"

#include "runtime/core/settings.h"
#include "runtime/wi/console_size.h"
#include "tests/support/support.h"
#include "tests/wi/recording_console.h"

namespace marigold::test {

struct TerminalTest : testing::Test {
  void SetUp() override {
    clearenv();
    settings_read();
    open_subsystems().window_system = true;
    recording_reset();
    terminal_reset(&recording_console());
  }
  void TearDown() override { open_subsystems().window_system = false; }

  // A record with these characters from column 1, each in the attribute of the same place.
  static ScreenRow row_of(const std::string& characters, const std::vector<int>& attributes) {
    ScreenRow row;
    row_fill(row, ' ', 0);
    for (std::size_t index = 0; index < characters.size(); ++index) {
      row.characters.at(index) = static_cast<std::uint8_t>(characters[index]);
      row.attributes.at(index) = static_cast<std::uint8_t>(attributes[index]);
    }
    return row;
  }
};

// The bytes that reach standard output.
template <typename Call>
std::string bytes_of(Call call) {
  testing::internal::CaptureStdout();
  call();
  return testing::internal::GetCapturedStdout();
}

struct Vt100Test : TerminalTest {
  void SetUp() override {
    TerminalTest::SetUp();
    setenv("COMFAXUSEVT100", "", 1);
  }
  // The bytes of one row segment, without those that place the cursor before and after it.
  static std::string cells_of(const ScreenRow& row, int count) {
    std::string bytes = bytes_of([&] {
      terminal_write_row(row, 1, 1, count);
      terminal_refresh();
    });
    const std::string place = "\x1B[1;1H";
    EXPECT_TRUE(bytes.starts_with(place) && bytes.ends_with(place)) << bytes;
    return bytes.substr(place.size(), bytes.size() - 2 * place.size());
  }
};

TEST_F(TerminalTest, TheModeIsDecidedOnce) {
  EXPECT_FALSE(terminal_is_vt100());
  setenv("COMFAXUSEVT100", "1", 1);
  EXPECT_FALSE(terminal_is_vt100());
  EXPECT_EQ(recording().calls, "S");
  terminal_reset(&recording_console());
  EXPECT_TRUE(terminal_is_vt100());
  unsetenv("COMFAXUSEVT100");
  EXPECT_TRUE(terminal_is_vt100());
  EXPECT_EQ(recording().calls, "S");
}

TEST_F(TerminalTest, ConsoleOperationsCallTheirConsole) {
  errors_of(terminal_start);
  EXPECT_EQ(recording().calls, "SC");
  const std::tuple<void (*)(), const char*, const char*> rows[] = {
      {terminal_refresh, "W", "W"},
      {[] { terminal_set_cursor(7, 5); }, "P", "P"},
      {[] { terminal_show_cursor(false); }, "H", "H"},
      {terminal_bell, "", ""},
      {terminal_clear, "W", ""},
      {terminal_end, "WWVPCL", ""}};
  for (const auto& [operation, when_active, otherwise] : rows) {
    for (const bool active : {true, false}) {
      open_subsystems().window_system = active;
      recording().calls.clear();
      EXPECT_EQ(bytes_of(operation), "");
      EXPECT_EQ(recording().calls, active ? when_active : otherwise);
    }
  }
  EXPECT_EQ(std::pair(recording().column, recording().row), std::pair(1, 24));
}

TEST_F(TerminalTest, CellsReachTheConsoleAtTheNextRefresh) {
  const std::pair<int, int> colours[] = {{0, 7},  {32, 15},   {64, 112}, {96, 240}, {2, 7},
                                         {16, 7}, {114, 240}, {34, 15},  {82, 112}};
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
  terminal_write_row(row_of("", {}), 2, 3, 1000);  // no further than the row
  terminal_write_row(row, 0, 1, 80);
  terminal_write_row(row, 25, 1, 80);
  terminal_write_row(row, 3, 0, 80);
  terminal_write_row(row, 3, 1, -1);
  terminal_refresh();
  EXPECT_EQ(recording().text(2), " b" + std::string(78, ' '));
  EXPECT_EQ(recording().text(1) + recording().text(3), std::string(160, ' '));
  terminal_clear();
  EXPECT_EQ(recording().cells, ConsoleBuffer{});
}

TEST_F(Vt100Test, OperationsWriteTheirBytes) {
  const std::pair<void (*)(), const char*> rows[] = {
      {[] { errors_of(terminal_start); }, "\x1B[H\x1B[J"},
      {terminal_refresh, "\x1B[1;1H"},
      {[] { terminal_set_cursor(80, 24); }, "\x1B[24;80H"},
      {terminal_clear, "\x1B[H\x1B[J"},
      {terminal_refresh, "\x1B[1;1H"},  // clearing has moved the cursor
      {[] { terminal_show_cursor(true); }, ""},
      {terminal_bell, "\a"},
      {terminal_end, "\x1B[H\x1B[J\x1B[1;1H\x1B[24;1H"}};
  for (const auto& [operation, bytes] : rows)
    EXPECT_EQ(bytes_of(operation), bytes);
  EXPECT_EQ(recording().calls, "L");
  open_subsystems().window_system = false;
  EXPECT_EQ(bytes_of(terminal_clear) + bytes_of(terminal_end), "");
}

TEST_F(Vt100Test, RowsWaitForTheRefresh) {
  const ScreenRow row = row_of("abc", {0, 0, 0});
  EXPECT_EQ(bytes_of([&] { terminal_write_row(row, 3, 2, 2); }), "");
  EXPECT_EQ(bytes_of([&] { terminal_write_row(row, 24, 80, 1); }), "");
  EXPECT_EQ(bytes_of(terminal_refresh), "\x1B[3;2Hbc\x1B[24;80H \x1B[1;1H");
  // More than is kept for one refresh: all of it comes, in order.
  std::string expected;
  const std::string bytes = bytes_of([&] {
    for (int count = 0; count < 1000; ++count) {
      terminal_write_row(row, 1, 1, 3);
      expected += "\x1B[1;1Habc";
    }
    terminal_refresh();
  });
  EXPECT_EQ(bytes, expected + "\x1B[1;1H");
}

TEST_F(Vt100Test, OnlyReverseVideoIsShown) {
  const std::tuple<std::string, std::vector<int>, std::string> rows[] = {
      {"abcd", {0, 64, 64, 0}, "a\x1B[7mbc\x1B[md"},
      {"abcd", {96, 64, 32, 0}, "\x1B[7mab\x1B[mcd"},
      {"abcde", {32, 2, 34, 16, 0}, "abcde"},
      {"ab", {80, 66}, "\x1B[7mab"},
      {"ab", {82, 16}, "a\x1B[mb"},  // the attribute outlives the segment
      {"\x02\x04\x00\x0A\x0B"s, {1, 1, 1, 1, 1}, "\xDA\xC4\xBF\xB4."},
      {"\x05", {65}, "\x1B[7m\xB3"},
      {"\xE4\x80\x1B"s, {0, 0, 0}, "\x1B[m\x84.."},
  };
  for (const auto& [characters, attributes, bytes] : rows)
    EXPECT_EQ(cells_of(row_of(characters, attributes), static_cast<int>(characters.size())), bytes);
}

TEST_F(TerminalTest, TablesHaveTheirEntries) {
  std::array<std::uint8_t, kLineDrawingCodes> codes{};
  line_drawing_start(codes);
  EXPECT_EQ(codes, (std::array<std::uint8_t, 11>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  terminal_write_row(row_of({codes.begin(), codes.end()}, std::vector<int>(11, 1)), 1, 1, 11);
  terminal_refresh();
  EXPECT_EQ(recording().text(1, 1, 11), "\xBF\xD9\xDA\xC0\xC4\xB3\xC5\xC2\xC1\xC3\xB4");
  std::array<std::uint8_t, 16> attributes{};
  attribute_table_start(attributes);
  EXPECT_EQ(attributes, (std::array<std::uint8_t, 16>{0, 2, 64, 66, 32, 34, 96, 98, 16, 18, 80, 82,
                                                      48, 50, 112, 114}));
}

TEST(ConsoleSizeTest, ShrinkingBeginsWithTheWindow) {
  const struct {
    ConsoleSize buffer;
    ConsoleSize largest;
    ConsoleOrder order;
    int right;
    int bottom;
  } rows[] = {{{120, 300}, {200, 60}, ConsoleOrder::kWindowFirst, 79, 23},
              {{40, 25}, {80, 24}, ConsoleOrder::kBufferFirst, 79, 23},
              {{80, 24}, {200, 60}, ConsoleOrder::kNeither, 79, 23},
              {{96, 20}, {200, 60}, ConsoleOrder::kNeither, 79, 23},  // as many cells
              {{80, 25}, {79, 20}, ConsoleOrder::kWindowFirst, 78, 19}};
  for (const auto& row : rows) {
    const ConsoleSizing sizing = console_sizing(row.buffer, row.largest);
    EXPECT_EQ(sizing.order, row.order) << row.buffer.columns;
    EXPECT_EQ(std::pair(sizing.right, sizing.bottom), std::pair(row.right, row.bottom));
  }
}

}  // namespace marigold::test
