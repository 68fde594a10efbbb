#include "runtime/wi/window.h"

#include <climits>
#include <cstring>
#include <functional>

#include "runtime/wi/window_range.h"
#include "runtime/wi/window_table.h"
#include "tests/wi/window_support.h"

namespace marigold::test {
namespace {

constexpr const char* kRow = "row value to high! (Reduced to 1)\n";
constexpr const char* kColumn = "column value to high! (Reduced to 1)\n";
constexpr const char* kLength = "string length too long! (Reduced)\n";

// Every operation that takes a window, with numbers to go with it.
const std::vector<std::function<void(int, int, int)>>& operations() {
  static const ScreenRow kCells;
  static WindowPlace place;
  static const std::vector<std::function<void(int, int, int)>> kOperations = {
      [](int w, int, int) { p_destroy_kopfzeile(w); },
      [](int w, int, int) { p_clear_w(w); },
      [](int w, int a, int b) { rangecl_w(w, a, b, a, b); },
      [](int w, int a, int b) { p_scr_pos_w(w, a, b, b, b, a > 0); },
      [](int w, int a, int) { p_scroll_w(w, a > 0); },
      [](int w, int, int) { p_set_atr(w, nullptr); },
      [](int w, int a, int) { p_Mset_atr(w, a); },
      [](int w, int a, int b) { p_printstr(w, a, b, "text"); },
      [](int w, int a, int b) { p_printstr(w, a, b, nullptr); },
      [](int w, int a, int b) { p_printchar(w, a, b, 'c'); },
      [](int w, int a, int b) { p_printsonder(w, a, b, 4, b); },
      [](int w, int a, int b) { p_printsonder(w, 1, 1, a, b); },
      [](int w, int a, int b) { p_print_tzeile(w, a, b, b, kCells); },
      [](int w, int, int) { p_active_w(w); },
      [](int w, int, int) { p_de_active_w(w); },
      [](int w, int a, int b) { p_move_w(w, a, b); },
      [](int w, int a, int b) { p_adjust_w(w, a, b, b, a); },
      [](int w, int, int) { p_refreshany_w(w); },
      [](int w, int, int) { get_window_paras(w, place); },
      [](int w, int a, int b) { wi_set_cursor(w, a, b); },
      [](int w, int, int) { p_destroy_w(w); }};
  return kOperations;
}

TEST_F(WindowTest, BadNumbersAreError24) {
  const int free = make(1, 1, 3, 3) + 1;
  const int numbers[] = {-1, 0, 31, free, INT_MAX, INT_MIN};
  std::size_t next = 0;
  for (const auto& operation : operations()) {
    const int number = numbers[next++ % std::size(numbers)];
    EXPECT_DEATH(operation(number, 1, 1), "system error 24") << next;
  }
}

// With the sanitizers this also sees what is touched beside the tables.
TEST_F(WindowTest, WildNumbersStayWithinTheirWindow) {
  const int values[] = {INT_MIN, INT_MIN + 1, -80, -1, 0, 1, 25, 81, INT_MAX - 1, INT_MAX};
  for (const auto& operation : operations()) {
    for (const int a : values) {
      for (const int b : values) {
        wi_start();
        const int behind = show(2, 2, 10, 20);
        const int window = show(5, 70, 4, 11, b % 2 != 0);
        const auto& records = window_state().windows;
        const Window before = records[static_cast<std::size_t>(behind)];
        wi_set_live(true);
        if (a % 2 != 0) p_active_w(behind);
        operation(window, a, b);
        const Window& after = records[static_cast<std::size_t>(behind)];
        ASSERT_EQ(std::memcmp(&after.rows, &before.rows, sizeof after.rows), 0) << a << "," << b;
        const Rectangle& at = records[static_cast<std::size_t>(window)].at;
        EXPECT_TRUE(at.top >= 0 && at.top + at.height <= 24 && at.left >= 0 &&
                    at.left + at.width <= 80);
      }
    }
  }
}

TEST_F(WindowTest, WindowsAreCreatedOnTheScreenOnly) {
  const struct {
    int top, left, height, width;
    bool fits;
  } rows[] = {{1, 1, 24, 80, true},      {24, 80, 1, 1, true},      {24, 2, 1, 78, true},
              {25, 1, 0, 1, false},      {1, 81, 1, 0, false},      {24, 1, 2, 1, false},
              {1, 80, 1, 2, false},      {1, 1, 25, 1, false},      {1, 1, 1, 81, false},
              {0, 1, 1, 1, false},       {1, 0, 1, 1, false},       {1, 1, -1, 1, false},
              {INT_MAX, 1, 1, 1, false}, {1, 1, 1, INT_MIN, false}, {3, 2, 22, 79, true}};
  for (const auto& row : rows) {
    const auto create = [&row] { make(row.top, row.left, row.height, row.width); };
    const std::string place = std::to_string(row.top) + "," + std::to_string(row.left);
    if (row.fits)
      create();
    else
      EXPECT_DEATH(create(), "system error 25") << place;
  }
}

TEST_F(WindowTest, NumbersAreTheLowestFreeOnesAndThereAreThirty) {
  for (int number = 1; number <= 30; ++number)
    EXPECT_EQ(make(1, 1, 24, 80), number);
  EXPECT_DEATH(make(99, 1, 1, 1), "^PANIC! No More Windows!\nsystem error 23");
  p_destroy_w(17);
  p_destroy_w(7);
  EXPECT_EQ(make(1, 1, 3, 3), 7);
  EXPECT_EQ(make(1, 1, 3, 3), 17);
}

TEST_F(WindowTest, FramesNeedThreeRowsAndColumns) {
  show(2, 10, 3, 4);
  EXPECT_EQ(screen(2, 9, 6), " \xda\xc4\xc4\xbf ");
  EXPECT_EQ(screen(3, 9, 6), " \xb3  \xb3 ");
  EXPECT_EQ(screen(4, 9, 6), " \xc0\xc4\xc4\xd9 ");
  const int bare[] = {make(1, 1, 2, 9), make(1, 1, 9, 2), make(1, 1, 9, 9, true)};
  for (const int window : bare) {
    WindowPlace place{};
    get_window_paras(window, place);
    EXPECT_TRUE(place.no_frame) << window;
    p_active_w(window);
    EXPECT_EQ(screen(1, 1, 2), "  ") << window;
  }
}

TEST_F(WindowTest, WritesAreBroughtIntoTheWindow) {
  const struct {
    bool frame;
    int row, column;
    const char* text;
    std::string messages;
    int at_row, at_column;  // in the window, frame included
    const char* found;
  } rows[] = {
      {true, 1, 1, "abc", "", 2, 2, "abc "},
      {true, 4, 1, "abc", "", 5, 2, "abc"},              // the bottom frame
      {true, 1, 1, "123456789", "", 2, 2, "123456789"},  // over the right frame
      {true, 1, 1, "1234567890", kLength, 2, 2, "12345678\xb3"},
      {true, 5, 1, "abc", kRow, 3, 2, "abc"},      // row 2 inside
      {true, 1, 10, "abc", kColumn, 2, 3, "abc"},  // column 2 inside
      {true, 1, 8, "abc", kLength, 2, 9, "a\xb3"},
      {true, 1, 9, "ab", kLength, 2, 9, " \xb3"},  // cut to nothing
      {true, 99, 99, "1234567890", kRow + std::string(kColumn) + kLength, 3, 3, "1234567\xb3"},
      {true, 0, 0, "ab", "", 1, 1, "ab"},  // the frame's corner
      {true, -1, INT_MIN, "ab", "", 2, 2, "ab "},
      {false, 5, 1, "1234567890", "", 5, 1, "1234567890"},
      {false, 1, 1, "12345678901", kLength, 1, 1, "123456789 "},
      {false, 6, 11, "ab", kRow + std::string(kColumn), 1, 1, "ab "},
      {false, 0, 0, "ab", "", 1, 1, "ab "},
      {false, 1, 1, "", "", 1, 1, " "}};
  for (const auto& row : rows) {
    const int window = make(3, 5, 5, 10, !row.frame);
    said.clear();
    p_printstr(window, row.row, row.column, row.text);
    p_active_w(window);
    const std::string name = row.messages.empty() ? "" : "p_printstr\n";
    EXPECT_EQ(said, name + row.messages) << row.text << row.row;
    EXPECT_EQ(screen(2 + row.at_row, 4 + row.at_column, static_cast<int>(strlen(row.found))),
              row.found)
        << row.text << row.row;
    p_destroy_w(window);
  }
  EXPECT_DEATH(
      {
        user_interface_start();
        check_range("p_name", 9, 1, 1, 1);
      },
      "^p_name\nWINDOW not initialized!\nsystem error 26");
}

TEST_F(WindowTest, CellsGetTheAttributeThatIsInForce) {
  const struct {
    const char* attribute;
    int index;
    int expected;
  } rows[] = {{"0000", 0, 0},  {"1000", 1, 2},       {"0100", 2, 64},   {"0010", 4, 32},
              {"0110", 6, 96}, {"0001", 8, 16},      {"1111", 15, 114}, {"x1", 2, 64},
              {"", 16, 0},     {"01101", 6 - 16, 96}};
  const int window = make(1, 1, 3, 10);
  const auto attribute = [window](std::size_t column) {
    return window_state().windows[static_cast<std::size_t>(window)].rows[1].attributes[column];
  };
  for (const auto& row : rows) {
    p_set_atr(window, row.attribute);
    p_printchar(window, 1, 1, 'a');
    EXPECT_EQ(attribute(1), row.expected) << row.attribute;
    p_Mset_atr(window, row.index);
    p_printsonder(window, 1, 3, kLineCross, 1);  // begins one column to the left
    EXPECT_EQ(attribute(2), row.expected + 1) << row.index;
  }
  ScreenRow cells;
  row_fill(cells, 'z', 18);
  p_print_tzeile(window, 1, 4, 2, cells);
  p_print_tzeile(window, 1, 1, 0, cells);
  EXPECT_EQ(attribute(5), 18);
  p_active_w(window);
  EXPECT_EQ(screen(2, 1, 8), "\xb3\x61\xc5 zz  ");
  p_printsonder(window, 2, 1, kLineTeeRight, 9);
  p_printsonder(window, 1, 9, kLineTeeLeft, 2);
  p_printsonder(window, 1, 2, 11, 3);
  EXPECT_EQ(said, std::string("p_printsonder\n") + kLength);
  said.clear();
  const int bare = show(5, 5, 1, 4, true);
  p_printsonder(bare, 1, 1, kLineHorizontal, 4);  // the first of them is beside the window
  wi_refresh_active();
  EXPECT_EQ(screen(5, 4, 6), " \xc4\xc4\xc4  ");
  EXPECT_EQ(said, "");
}

TEST_F(WindowTest, OnlyTheActiveWindowIsWrittenAndAtOnceOnlyWhenLive) {
  const int below = show(3, 3, 4, 10, true);
  const int window = show(10, 20, 5, 10, true);
  const struct {
    std::function<void(int)> change;
    const char* live;     // rows that it writes when live
    const char* refresh;  // rows that the next refresh writes
  } rows[] = {{[](int w) { p_printstr(w, 2, 3, "abc"); }, "11:22-24 ", "11:20-29 "},
              {[](int w) { p_printchar(w, 5, 10, 'c'); }, "14:29-29 ", "14:20-29 "},
              {[](int w) { p_printsonder(w, 1, 4, 4, 2); }, "10:22-23 ", "10:20-29 "},
              {[](int w) { p_print_tzeile(w, 1, 2, 3, ScreenRow{}); }, "10:21-23 ", "10:20-29 "},
              {[](int w) { rangecl_w(w, 2, 3, 2, 2); }, "11:20-29 12:20-29 ", ""},
              {[](int w) { p_scr_pos_w(w, 1, 1, 2, 2, true); }, "10:20-29 11:20-29 ", ""},
              {[](int w) { p_printstr(w, 2, 3, ""); }, "", ""}};
  for (const auto& row : rows) {
    const auto index = &row - rows;
    for (const bool live : {true, false}) {
      wi_set_live(live);
      cover();
      const int before = recording().writes;
      row.change(window);
      row.change(below);
      EXPECT_EQ(recording().writes - before, live && *row.live != '\0' ? 1 : 0) << index;
      EXPECT_EQ(written(), live ? row.live : "") << index;
      cover();
      const bool flush = !live && index % 2 == 0;
      wi_set_flushing(flush);
      const int writes = recording().writes;
      wi_refresh_active();
      EXPECT_EQ(recording().writes - writes, live || flush ? 1 : 0) << index;
      EXPECT_EQ(written(), !live && *row.refresh == '\0' ? row.live : row.refresh) << index;
    }
  }
}

TEST_F(WindowTest, RegionsAreBlankedAndScrolled) {
  const int window = show(1, 1, 5, 6);
  const auto fill = [window] {
    p_set_atr(window, "0100");
    for (int row = 1; row <= 3; ++row)
      p_printstr(window, row, 1, std::string(4, static_cast<char>('0' + row)).c_str());
  };
  const std::string f = "\xb3";
  const struct {
    std::function<void(int)> change;
    const char* rows[3];
  } rows[] = {{[](int w) { p_clear_w(w); }, {"    ", "    ", "    "}},
              {[](int w) { rangecl_w(w, 2, 2, 2, 2); }, {"1111", "2  2", "3  3"}},
              {[](int w) { rangecl_w(w, 3, 1, 1, 4); }, {"1111", "2222", "    "}},
              {[](int w) { rangecl_w(w, 1, 1, 0, 4); }, {"1111", "2222", "3333"}},
              {[](int w) { p_scroll_w(w, true); }, {"    ", "1111", "2222"}},
              {[](int w) { p_scroll_w(w, false); }, {"2222", "3333", "    "}},
              {[](int w) { p_scr_pos_w(w, 1, 2, 2, 2, true); }, {"1  1", "2112", "3333"}},
              {[](int w) { p_scr_pos_w(w, 2, 1, 1, 3, false); }, {"1111", "   2", "3333"}},
              {[](int w) { p_scr_pos_w(w, 9, 1, 3, 3, false); }, {"1111", "2222", "3333"}}};
  wi_set_live(true);
  for (const auto& row : rows) {
    fill();
    row.change(window);
    for (int number = 0; number < 3; ++number)
      EXPECT_EQ(screen(2 + number, 1, 6), f + row.rows[number] + f) << &row - rows;
    EXPECT_EQ(screen(5, 1, 6), "\xc0\xc4\xc4\xc4\xc4\xd9");
    for (int column = 2; column <= 5; ++column) {
      const ConsoleCell& cell = recording().cell(3, column);
      EXPECT_EQ(cell.colour, cell.character == ' ' ? kColourPlain : kColourReverse);
    }
  }
  EXPECT_EQ(said, "");
}

TEST_F(WindowTest, MovesEndAtTheScreensEdge) {
  const struct {
    int row_delta, column_delta, row, column;
  } rows[] = {{1, 2, 11, 22},      {-9, -19, 1, 1},     {-10, -20, 1, 1},
              {10, 51, 20, 71},    {11, 52, 20, 71},    {INT_MAX, INT_MAX, 20, 71},
              {INT_MIN, 0, 1, 20}, {0, INT_MAX, 10, 71}};
  for (const auto& row : rows) {
    wi_start();
    show(1, 1, 24, 80, true);
    const int window = show(10, 20, 5, 10);
    p_printstr(window, 1, 1, "12345678");
    cover();
    p_move_w(window, 0, 0);
    EXPECT_EQ(written(), "");
    p_move_w(window, row.row_delta, row.column_delta);
    EXPECT_EQ(screen(row.row + 1, row.column, 10),
              "\xb3"
              "12345678\xb3");
    WindowPlace place{};
    get_window_paras(window, place);
    EXPECT_TRUE(place.row == row.row && place.column == row.column && place.height == 5 &&
                place.width == 10 && !place.no_frame)
        << row.row << "," << row.column;
    EXPECT_EQ(screen(11, 21, 1) == "#", false);
  }
}

TEST_F(WindowTest, AdjustingTouchesTheRecordOnly) {
  const int window = make(1, 1, 3, 12, true);
  p_printstr(window, 1, 1, "abcdefghijkl");
  p_adjust_w(window, 4, 2, -1, 5);
  cover();
  p_active_w(window);
  EXPECT_EQ(written(), "5:3-7 6:3-7 7:3-7 ");
  EXPECT_EQ(screen(5, 3, 5), "cdefg");  // where it was printed
  WindowPlace before{};
  get_window_paras(window, before);
  p_adjust_w(window, 0, 0, 1, 1);  // on top: nothing
  WindowPlace place{};
  get_window_paras(window, place);
  EXPECT_TRUE(place.row == 5 && place.column == 3 && place.height == 3 && place.width == 5);
  show(20, 1, 1, 1);
  cover();
  p_adjust_w(window, 30, -4, 99, -2);  // brought onto the screen
  EXPECT_EQ(written(), "");
  get_window_paras(window, place);
  EXPECT_TRUE(place.row == 1 && place.column == 1 && place.height == 24 && place.width == 0);
}

TEST_F(WindowTest, WhatIsBelowBecomesActive) {
  EXPECT_EQ(wi_active(), kNoWindow);
  const int low = show(1, 1, 3, 9);
  const int high = show(2, 5, 3, 9);
  p_printstr(low, 1, 1, "lowest!");
  cover();
  p_de_active_w(make(1, 1, 9, 9));  // was not shown
  p_active_w(high);                 // already
  EXPECT_EQ(written(), "");
  p_active_w(low);
  EXPECT_EQ(written(), "1:1-9 2:1-9 3:1-9 ");
  p_de_active_w(low);
  EXPECT_EQ(written(), "1:1-9 2:1-9 3:1-9 ");
  EXPECT_EQ(screen(2, 1, 9), "    \xda\xc4\xc4\xc4\xc4");
  EXPECT_EQ(wi_active(), high);
  wi_set_flushing(true);
  for (const int window : {low, high}) {
    const int writes = recording().writes;
    p_destroy_w(window);
    EXPECT_EQ(recording().writes, writes + 1);
  }
  EXPECT_EQ(screen(2, 5, 9), std::string(9, ' '));
  EXPECT_EQ(wi_active(), kNoWindow);
}

TEST_F(WindowTest, SpecialWindowsHaveTheirPlaces) {
  int window = 0;
  WindowPlace place{};
  const auto expect_place = [&](int row, int column, int height, int width) {
    get_window_paras(window, place);
    EXPECT_TRUE(place.row == row && place.column == column && place.height == height &&
                place.width == width)
        << place.row << "," << place.column << "," << place.height << "," << place.width;
  };
  create_beside_w(window, 5, 5, 3, 10, false);
  expect_place(3, 1, 3, 10);
  p_active_w(window);
  const struct {
    int row_offset, column_offset, height, width, row, column;
  } rows[] = {{1, 2, 3, 10, 4, 3},  {14, 70, 3, 10, 17, 71}, {15, 71, 3, 10, 17, 71},
              {0, 0, 24, 80, 1, 1}, {-9, -9, 3, 3, 1, 1},    {INT_MAX, INT_MAX, 3, 10, 17, 71}};
  for (const auto& row : rows) {
    create_beside_w(window, row.row_offset, row.column_offset, row.height, row.width, true);
    expect_place(row.row, row.column, row.height, row.width);
  }
  create_message_w(window);
  expect_place(21, 2, 3, 78);
  create_status_w(window, (std::string(78, 'x') + "y").c_str());
  expect_place(24, 2, 1, 78);
  EXPECT_EQ(wi_active(), window);
  EXPECT_EQ(screen(24, 1, 80), " "s + std::string(78, 'x') + " ");
  EXPECT_EQ(recording().cell(24, 2).colour, kColourBright);
  create_status_w(window, "");
  expect_place(24, 2, 1, 0);
}

TEST_F(WindowTest, HeadersComeBelowTheTopWindow) {
  const struct {
    std::string title;
    int kind;
    std::string first, second, messages;
  } rows[] = {{"abc", 0, std::string(38, ' ') + "abc ", " ", ""},
              {"abcd", 1, std::string(37, ' ') + "abcd ", "\xc4", ""},
              {std::string(80, 'x'), 2, std::string(80, 'x'), "=", ""},
              {std::string(81, 'x'), 3, std::string(79, 'x') + " ", " ",
               std::string("p_printstr\n") + kLength}};
  for (const auto& row : rows) {
    wi_start();
    said.clear();
    int header = 0;
    create_header_w(header, row.title.c_str(), row.kind);
    EXPECT_EQ(wi_active(), header);
    p_destroy_kopfzeile(header);
    const int top = show(2, 1, 3, 9);
    create_header_w(header, row.title.c_str(), row.kind);
    EXPECT_EQ(wi_active(), top);
    EXPECT_EQ(screen(1, 1, static_cast<int>(row.first.size())), row.first);
    EXPECT_EQ(recording().cell(1, 40).colour, kColourReverseBright);
    EXPECT_EQ(screen(2, 80, 1), row.second);
    EXPECT_EQ(said, row.messages + row.messages);
    p_destroy_kopfzeile(header);
    EXPECT_EQ(screen(2, 1, 1), "\xda");
  }
}

TEST_F(WindowTest, TheCursorIsRemembered) {
  const int window = make(3, 5, 5, 10);
  const struct {
    int row, column, at_row, at_column;
  } rows[] = {{1, 1, 4, 6}, {3, 8, 6, 13}, {99, INT_MAX, 7, 14}, {INT_MIN, -1, 3, 5}};
  for (const auto& row : rows) {
    wi_set_cursor(window, row.row, row.column);
    terminal_set_cursor(1, 1);
    wi_restore_cursor();
    EXPECT_EQ(recording().row, row.at_row) << row.row;
    EXPECT_EQ(recording().column, row.at_column) << row.column;
  }
}

}  // namespace
}  // namespace marigold::test
