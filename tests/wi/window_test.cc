// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "runtime/wi/window/window_range.h"
#include "tests/wi/window_support.h"

namespace marigold::inner::test {
namespace {

const std::string kRow = "row value to high! (Reduced to 1)\n";
const std::string kColumn = "column value to high! (Reduced to 1)\n";
const std::string kLength = "string length too long! (Reduced)\n";

using Place = std::array<int, 5>;

Place place_of(int window) {
  WindowPlace place{};
  get_window_paras(window, place);
  return {place.row, place.column, place.height, place.width, place.no_frame};
}

// Operations on a window, with numbers for them.
void (*const kOperations[])(int, int, int) = {
    [](int w, int, int) { p_destroy_kopfzeile(w); },
    [](int w, int, int) { p_clear_w(w); },
    [](int w, int a, int) { p_scroll_w(w, a > 0); },
    [](int w, int, int) { p_set_atr(w, nullptr); },
    [](int w, int a, int) { p_Mset_atr(w, a); },
    [](int w, int, int) { p_active_w(w); },
    [](int w, int, int) { p_de_active_w(w); },
    [](int w, int, int) { place_of(w); },
    [](int w, int a, int b) { rangecl_w(w, a, b, a, b); },
    [](int w, int a, int b) { p_scr_pos_w(w, a, b, b, b, a > 0); },
    [](int w, int a, int b) { p_printstr(w, a, b, a == b ? nullptr : "text"); },
    [](int w, int a, int b) { p_printchar(w, a, b, 'c'); },
    [](int w, int a, int b) { p_printsonder(w, a, b, 4, b); },
    [](int w, int a, int b) { p_printsonder(w, 1, 1, a, b); },
    [](int w, int a, int b) { p_print_tzeile(w, a, b, b, ScreenRow()); },
    [](int w, int a, int b) { p_move_w(w, a, b); },
    [](int w, int a, int b) { p_adjust_w(w, a, b, b, a); },
    [](int w, int, int) { p_refreshany_w(w); },
    [](int w, int a, int b) { wi_set_cursor(w, a, b); },
    [](int w, int, int) { p_destroy_w(w); }};

// With the sanitizers the wild numbers also show accesses beside the tables.
TEST_F(WindowTest, BadWindowsAreError24AndWildNumbersStayWithinTheirWindow) {
  const int values[] = {INT_MIN, INT_MIN + 1, -80, -1, 0, 1, 25, 81, INT_MAX - 1, INT_MAX};
  const int bad[] = {-1, 0, 31, 3, INT_MAX, INT_MIN};
  for (std::size_t next = 0; next < std::size(kOperations); ++next) {
    for (const int a : values) {
      for (const int b : values) {
        wi_start();
        wi_set_live(true);
        const Window& behind = window_state().windows[show(2, 2, 10, 20)];
        const int window = show(5, 70, 4, 11, b % 2 != 0);
        if (a % 2 != 0) p_active_w(1);
        const auto before = behind.rows;
        kOperations[next](window, a, b);
        ASSERT_EQ(std::memcmp(&behind.rows, &before, sizeof before), 0) << a << "," << b;
        const auto [top, left, height, width] = window_state().windows[window].at;
        EXPECT_TRUE(top >= 0 && top + height <= 24 && left >= 0 && left + width <= 80);
      }
    }
    EXPECT_DEATH(kOperations[next](bad[next % std::size(bad)], 1, 1), "system error 24") << next;
  }
}

TEST_F(WindowTest, WindowsBesideTheScreenAreError25) {
  const Rectangle places[] = {{25, 1, 0, 1}, {1, 81, 1, 0},      {24, 1, 2, 1},      {1, 80, 1, 2},
                              {1, 1, 25, 1}, {1, 1, 1, 81},      {0, 1, 1, 1},       {1, 0, 1, 1},
                              {1, 1, -1, 1}, {INT_MAX, 1, 1, 1}, {1, 1, 1, INT_MIN}, {1, 1, 1, -1}};
  for (const auto& [top, left, height, width] : places)
    EXPECT_DEATH(make(top, left, height, width), "system error 25") << top << "," << left;
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
  EXPECT_EQ(make(1, 1, 1, 1), 7);
  EXPECT_EQ(make(1, 1, 1, 1), 17);
}

TEST_F(WindowTest, WritesAreBroughtIntoTheWindow) {
  const struct {
    bool frame;
    int row, column;
    const char* text;
    std::string messages;
    int at_row, at_column;  // in the window, frame included
    std::string found;
  } rows[] = {{true, 4, 1, "abc", "", 5, 2, "abc"},              // the bottom frame
              {true, 1, 1, "123456789", "", 2, 2, "123456789"},  // over the right frame
              {true, 1, 1, "1234567890", kLength, 2, 2, "12345678\xb3"},
              {true, 5, 1, "abc", kRow, 3, 2, "abc"},      // row 2 inside
              {true, 1, 10, "abc", kColumn, 2, 3, "abc"},  // column 2 inside
              {true, 1, 9, "ab", kLength, 2, 9, " \xb3"},  // cut to nothing
              {true, 99, 99, "1234567890", kRow + kColumn + kLength, 3, 3, "1234567\xb3"},
              {true, 0, 0, "ab", "", 1, 1, "ab"},  // the frame's corner
              {true, -1, INT_MIN, "ab", "", 2, 2, "ab "},
              {false, 6, 11, "ab", kRow + kColumn, 1, 1, "ab "},
              {false, 0, 0, "ab", "", 1, 1, "ab "}};
  for (const auto& row : rows) {
    wi_start();
    said.clear();
    p_printstr(make(3, 5, 5, 10, !row.frame), row.row, row.column, row.text);
    p_active_w(1);
    EXPECT_EQ(said, row.messages.empty() ? "" : "p_printstr\n" + row.messages) << &row - rows;
    EXPECT_EQ(screen(2 + row.at_row, 4 + row.at_column, row.found.size()), row.found);
  }
  user_interface_start();
  EXPECT_DEATH(check_range("p_name", 9, 1, 1, 1),
               "^p_name\nWINDOW not initialized!\nsystem er.*26");
}

TEST_F(WindowTest, LinesBeginOneColumnToTheLeftButNotBesideTheWindow) {
  const int window = show(1, 1, 3, 10);
  p_Mset_atr(window, 6 - 16);  // only the four bits count
  p_printsonder(window, 1, 3, kLineCross, 1);
  EXPECT_EQ(window_state().windows[window].rows[1].attributes[2], 97);
  p_printsonder(show(5, 5, 1, 4, true), 1, 1, kLineHorizontal, 4);
  wi_refresh_active();
  EXPECT_EQ(screen(5, 4, 6), " \xc4\xc4\xc4  ");
  p_active_w(window);
  EXPECT_EQ(screen(2, 1, 8), "\xb3 \xc5     ");
}

TEST_F(WindowTest, AdjustingTouchesTheRecordOnlyAndTheCursorIsRemembered) {
  const int window = make(1, 1, 3, 12);
  p_printstr(window, 1, 1, "bcdefghijk");
  p_adjust_w(window, 4, 2, -1, 5);
  p_active_w(window);
  EXPECT_EQ(screen(6, 1, 9), "  cdefg  ");  // where it was printed
  p_adjust_w(window, 0, 0, 1, 1);           // on top: nothing
  EXPECT_EQ(place_of(window), (Place{5, 3, 3, 5, false}));
  wi_set_cursor(window, 1, INT_MAX);
  terminal_set_cursor(1, 1);
  wi_restore_cursor();
  EXPECT_EQ(std::pair(recording().row, recording().column), std::pair(6, 7));
}

TEST_F(WindowTest, SpecialWindowsHaveTheirPlaces) {
  int window = 0;
  create_beside_w(window, 5, 5, 3, 10, false);
  EXPECT_EQ(place_of(window), (Place{3, 1, 3, 10, false}));
  p_active_w(window);
  const std::array<int, 6> rows[] = {{1, 2, 3, 10, 4, 3},
                                     {14, 70, 3, 10, 17, 71},
                                     {0, 0, 24, 80, 1, 1},
                                     {-9, -9, 3, 3, 1, 1},
                                     {INT_MAX, INT_MAX, 3, 10, 17, 71}};
  for (const auto& [row_offset, column_offset, height, width, row, column] : rows) {
    create_beside_w(window, row_offset, column_offset, height, width, true);
    EXPECT_EQ(place_of(window), (Place{row, column, height, width, true}));
  }
  create_message_w(window);
  EXPECT_EQ(place_of(window), (Place{21, 2, 3, 78, true}));
  create_status_w(window, (std::string(78, 'x') + "y").c_str());
  std::string status(80, 'x');
  status.front() = status.back() = ' ';
  EXPECT_EQ(screen(24, 1, 80), status);
  EXPECT_EQ(recording().cell(24, 2).colour, kColourBright);
  create_status_w(window, "");
  EXPECT_EQ(place_of(window), (Place{24, 2, 1, 0, true}));
}

TEST_F(WindowTest, HeadersComeBelowTheTopWindow) {
  const std::tuple<int, std::string, std::string, const char*, std::string> rows[] = {
      {0, "abc", std::string(38, ' ') + "abc ", " ", ""},
      {1, "abcd", std::string(37, ' ') + "abcd ", "\xc4", ""},
      {2, std::string(81, 'x'), std::string(79, 'x') + " ", "=", "p_printstr\n"s + kLength}};
  for (const auto& [kind, title, first, second, messages] : rows) {
    wi_start();
    said.clear();
    const int top = show(2, 1, 3, 9);
    int header = 0;
    create_header_w(header, title.c_str(), kind);
    EXPECT_EQ(wi_active(), top);
    EXPECT_EQ(screen(1, 1, first.size()), first);
    EXPECT_EQ(recording().cell(1, 40).colour, kColourReverseBright);
    EXPECT_EQ(screen(2, 80, 1), second);
    EXPECT_EQ(said, messages);
    p_destroy_kopfzeile(header);
    EXPECT_EQ(screen(2, 1, 1), "\xda");
  }
}

}  // namespace
}  // namespace marigold::inner::test
