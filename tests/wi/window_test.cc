#include "runtime/wi/window.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "runtime/wi/window_range.h"
#include "tests/wi/window_support.h"

namespace marigold::test {
namespace {

const std::string kRow = "row value to high! (Reduced to 1)\n";
const std::string kColumn = "column value to high! (Reduced to 1)\n";
const std::string kLength = "string length too long! (Reduced)\n";

void expect_place(int window, const WindowPlace& expected) {
  WindowPlace place{};
  get_window_paras(window, place);
  EXPECT_TRUE(place.row == expected.row && place.column == expected.column &&
              place.height == expected.height && place.width == expected.width &&
              place.no_frame == expected.no_frame)
      << place.row << "," << place.column << "," << place.height << "," << place.width;
}

using Operation = void (*)(int, int, int);

// Every operation that takes a window, with numbers to go with it.
const std::vector<Operation>& operations() {
  static const ScreenRow kCells;
  static WindowPlace place;
  static const std::vector<Operation> kOperations = {
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
    if (row.fits)
      create();
    else
      EXPECT_DEATH(create(), "system error 25") << row.top << "," << row.left;
  }
}

TEST_F(WindowTest, NumbersAreTheLowestFreeOnesAndThereAreThirty) {
  for (int number = 1; number <= 30; ++number)
    EXPECT_EQ(make(1, 1, 24, 80), number);
  wi_set_live(true);
  p_active_w(30);
  user_interface().fatal = [](int number) {
    std::fprintf(stderr, "%d '%s'\n", number, recording().text(1, 1, 3).c_str());
  };
  EXPECT_DEATH(make(99, 1, 1, 1), "^PANIC! No More Windows!\n23 '   '\n");
  p_destroy_w(17);
  p_destroy_w(7);
  EXPECT_EQ(make(1, 1, 2, 9), 7);
  EXPECT_EQ(make(1, 1, 9, 2), 17);
  expect_place(7, {1, 1, 2, 9, true});  // too small for a frame
  expect_place(17, {1, 1, 9, 2, true});
}

TEST_F(WindowTest, WritesAreBroughtIntoTheWindow) {
  const struct {
    bool frame;
    int row, column;
    const char* text;
    std::string messages;
    int at_row, at_column;  // in the window, frame included
    const char* found;
  } rows[] = {{true, 1, 1, "abc", "", 2, 2, "abc "},
              {true, 4, 1, "abc", "", 5, 2, "abc"},              // the bottom frame
              {true, 1, 1, "123456789", "", 2, 2, "123456789"},  // over the right frame
              {true, 1, 1, "1234567890", kLength, 2, 2, "12345678\xb3"},
              {true, 5, 1, "abc", kRow, 3, 2, "abc"},      // row 2 inside
              {true, 1, 10, "abc", kColumn, 2, 3, "abc"},  // column 2 inside
              {true, 1, 8, "abc", kLength, 2, 9, "a\xb3"},
              {true, 1, 9, "ab", kLength, 2, 9, " \xb3"},  // cut to nothing
              {true, 99, 99, "1234567890", kRow + kColumn + kLength, 3, 3, "1234567\xb3"},
              {true, 0, 0, "ab", "", 1, 1, "ab"},  // the frame's corner
              {true, -1, INT_MIN, "ab", "", 2, 2, "ab "},
              {false, 5, 1, "1234567890", "", 5, 1, "1234567890"},
              {false, 1, 1, "12345678901", kLength, 1, 1, "123456789 "},
              {false, 6, 11, "ab", kRow + kColumn, 1, 1, "ab "},
              {false, 0, 0, "ab", "", 1, 1, "ab "},
              {false, 1, 1, "", "", 1, 1, " "}};
  for (const auto& row : rows) {
    const int window = make(3, 5, 5, 10, !row.frame);
    said.clear();
    p_printstr(window, row.row, row.column, row.text);
    p_active_w(window);
    EXPECT_EQ(said, row.messages.empty() ? "" : "p_printstr\n"s + row.messages)
        << row.text << row.row;
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
  EXPECT_EQ(said, "p_printsonder\n"s + kLength);
  said.clear();
  const int bare = show(5, 5, 1, 4, true);
  p_printsonder(bare, 1, 1, kLineHorizontal, 4);  // the first of them is beside the window
  wi_refresh_active();
  EXPECT_EQ(screen(5, 4, 6), " \xc4\xc4\xc4  ");
  EXPECT_EQ(said, "");
}

TEST_F(WindowTest, RegionsAreCutToTheWindow) {
  const int window = show(1, 1, 4, 6);
  wi_set_live(true);
  const struct {
    void (*change)(int);
    const char* rows[3];  // the last one is the frame
  } rows[] = {
      {[](int w) { p_clear_w(w); }, {"    ", "    ", "\xc4\xc4\xc4\xc4"}},
      {[](int w) { p_scroll_w(w, true); }, {"    ", "1111", "\xc4\xc4\xc4\xc4"}},
      {[](int w) { p_scroll_w(w, false); }, {"2222", "    ", "\xc4\xc4\xc4\xc4"}},
      {[](int w) { p_scr_pos_w(w, 9, 1, 3, 3, false); }, {"1111", "2222", "\xc4\xc4\xc4\xc4"}},
      {[](int w) { p_scr_pos_w(w, 2, -9, 1, 12, true); }, {"1111", "  22", "\xc4\xc4\xc4\xc4"}},
      {[](int w) { rangecl_w(w, 1, 1, 0, 4); }, {"1111", "2222", "\xc4\xc4\xc4\xc4"}},
      {[](int w) { rangecl_w(w, 2, 2, 99, 2); }, {"1111", "2  2", "\xc4  \xc4"}}};
  for (const auto& row : rows) {
    p_printstr(window, 1, 1, "1111");
    p_printstr(window, 2, 1, "2222");
    row.change(window);
    for (int number = 0; number < 3; ++number)
      EXPECT_EQ(screen(2 + number, 2, 4), row.rows[number]) << &row - rows;
  }
  EXPECT_EQ(said, "");
}

TEST_F(WindowTest, AdjustingTouchesTheRecordOnly) {
  const int window = make(1, 1, 3, 12);
  p_printstr(window, 1, 1, "bcdefghijk");
  p_adjust_w(window, 4, 2, -1, 5);
  p_active_w(window);
  EXPECT_EQ(screen(6, 1, 9), "  cdefg  ");  // where it was printed
  p_adjust_w(window, 0, 0, 1, 1);           // on top: nothing
  expect_place(window, {5, 3, 3, 5, false});
  show(20, 1, 1, 1);
  p_adjust_w(window, 30, -4, 99, -2);  // brought onto the screen
  expect_place(window, {1, 1, 24, 0, false});
  p_adjust_w(window, 0, 0, 1, 80);  // too low for its first row, which is inside the frame
  p_active_w(window);
  wi_set_live(true);
  p_printstr(window, 1, 1, "nowhere");
  for (int row = 1; row <= 4; ++row)
    EXPECT_EQ(screen(row, 1, 80).find("now"), std::string::npos) << row;
}

TEST_F(WindowTest, SpecialWindowsHaveTheirPlaces) {
  int window = 0;
  create_beside_w(window, 5, 5, 3, 10, false);
  expect_place(window, {3, 1, 3, 10, false});
  p_active_w(window);
  const struct {
    int row_offset, column_offset, height, width, row, column;
  } rows[] = {{1, 2, 3, 10, 4, 3},  {14, 70, 3, 10, 17, 71}, {15, 71, 3, 10, 17, 71},
              {0, 0, 24, 80, 1, 1}, {-9, -9, 3, 3, 1, 1},    {INT_MAX, INT_MAX, 3, 10, 17, 71}};
  for (const auto& row : rows) {
    create_beside_w(window, row.row_offset, row.column_offset, row.height, row.width, true);
    expect_place(window, {row.row, row.column, row.height, row.width, true});
  }
  create_message_w(window);
  expect_place(window, {21, 2, 3, 78, true});
  create_status_w(window, (std::string(78, 'x') + "y").c_str());
  expect_place(window, {24, 2, 1, 78, true});
  EXPECT_EQ(wi_active(), window);
  EXPECT_EQ(screen(24, 2, 79), std::string(78, 'x') + " ");
  EXPECT_EQ(recording().cell(24, 2).colour, kColourBright);
  create_status_w(window, "");
  expect_place(window, {24, 2, 1, 0, true});
}

TEST_F(WindowTest, HeadersComeBelowTheTopWindow) {
  const struct {
    std::string title;
    int kind;
    std::string first, second, messages;
  } rows[] = {
      {"abc", 0, std::string(38, ' ') + "abc ", " ", ""},
      {"abcd", 1, std::string(37, ' ') + "abcd ", "\xc4", ""},
      {std::string(80, 'x'), 2, std::string(80, 'x'), "=", ""},
      {std::string(81, 'x'), 3, std::string(79, 'x') + " ", " ", "p_printstr\n"s + kLength}};
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
