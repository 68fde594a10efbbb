// SPDX-License-Identifier: GPL-3.0-or-later
// The choice of an output and the viewer: tests type keys and look at the screen at each wait for a
// key.

#include <algorithm>

#include "runtime/print/output/output_choice.h"
#include "tests/print/viewer_support.h"

namespace marigold::inner::test {
namespace {

TEST_F(ViewerTest, TheUserChooses) {
  const std::pair<const char*, bool> cases[] = {
      {"\r", false}, {"^j\r", true}, {"b\r", true}, {"^j\x1B", false}};
  for (const auto& [keys, screen] : cases) {
    recording().type(typed(keys));
    EXPECT_EQ(output_choose_screen(), screen) << keys;
  }
  const std::string lines[] = {"Ausgabe w{hlen", " Ausgabe auf: ", " ------------ ",
                               " Drucker      ", " Bildschirm   "};
  for (int row = 0; row < 5; ++row)
    EXPECT_EQ(screens.front().text(row + 9, 34, 14), lines[row]);
}

TEST_F(ViewerTest, KeysMove) {
  // 101 lines with the end marks, 110 columns: the last screenful begins in line 82, column 33.
  // Home, End, Page Up and Down, F2, Escape, Ctrl-A, Backspace and letters do nothing. Without
  // pages the whole list is one.
  make_list(100, 110);
  // clang-format off
  const struct {
    std::string keys;
    const char* position;
    std::string marks;  // above, left, below, right
    int page_length = 30;
  } cases[] = {
      {"", "1-1:1-1", "..v>"}, {"\r++", "2-28:58-1", "^.v>"}, {"+++++++++", "3-22:82-1", "^..>"},
      {"++-", "1-20:20-1", "^.v>"}, {"+*", "2-1:31-1", "^.v>"}, {"***", "3-22:82-1", "^..>"},
      {"++/", "1-1:1-1", "..v>"}, {"**^j/", "2-1:31-1", "^.v>"}, {"\t\t", "1-1:1-33", ".<v."},
      {"\t^x\t^h", "1-1:1-26", ".<v>"}, {"^l^l^h", "1-1:1-2", ".<v>"},
      {repeated("^l", 40), "1-1:1-33", ".<v."}, {"^h^k", "1-1:1-1", "..v>"},
      {repeated("^j", 29), "1-30:30-1", "^.v>"}, {repeated("^j", 99), "3-22:82-1", "^..>"},
      {"^j^j^k", "1-2:2-1", "^.v>"}, {"\t^i", "3-22:82-1", "^..>"}, {"^i^k", "3-21:81-1", "^.v>"},
      {"\t+^g?x", "1-1:1-1", "..v>"}, {"+\xE0G\xE0O^b^f^2\x1B\x01\bxN", "1-20:20-1", "^.v>"},
      {"g47\rg45\r", "2-15:45-1", "^.v>"}, {"g9999999\r", "3-22:82-1", "^..>"},
      {"+g45\x1Bgx\r^h", "1-20:20-1", "^.v>"}, {"+*", "1-82:82-1", "^..>", 0},
      {"++/", "1-1:1-1", "..v>", -7}};
  // clang-format on
  const struct {
    char mark;
    std::uint8_t frame;
    int row, column;
  } frame[] = {{'+', 196, 2, 40}, {'<', 179, 12, 1}, {'+', 196, 23, 40}, {'>', 179, 12, 80}};
  for (const auto& [keys, position, marks, page_length] : cases) {
    SCOPED_TRACE(keys);
    const Recording& screen = view(keys, page_length);
    const std::string place = position;
    EXPECT_EQ(screen.text(1), "Ausgabe: Kunden" + std::string(65 - place.size(), ' ') + place);
    const int line = std::stoi(place.substr(place.find(':') + 1));
    const auto column = static_cast<std::size_t>(std::stoi(place.substr(place.rfind('-') + 1)));
    for (int row = 0; row < 19; ++row)
      EXPECT_EQ(screen.text(row + 3, 2, 78), list_line(line + row, 110).substr(column - 1, 78));
    EXPECT_EQ(screen.text(22, 2, 5) == "*** A", line == 82);
    for (std::size_t side = 0; side < marks.size(); ++side) {
      const auto& [mark, drawn, at_row, at_column] = frame[side];
      const ConsoleCell marked{static_cast<std::uint8_t>(mark), kColourReverseBright};
      EXPECT_EQ(screen.cell(at_row, at_column), marks[side] == '.' ? ConsoleCell{drawn} : marked);
    }
    EXPECT_EQ(screen.text(24, 1, 61),
              "Cursor-Steuerung  +-=Bl{ttern  */=Seite  F1=Ende  F4=Druck   ");
  }
  EXPECT_TRUE(was_shown("vorige Druckseite", 8));
  EXPECT_TRUE(was_shown("Zeile: 45", kScreenRows));
  EXPECT_TRUE(was_shown("Keine Zeile: x", kScreenRows));
}

TEST_F(ViewerTest, AShortListIsShownWhole) {
  make_list(18, 78);
  for (const char* keys : {"", "+", "^j", "^i", "*", "\t", "^l"}) {
    const Recording& screen = view(keys);
    EXPECT_EQ(screen.text(1, 74, 7), "1-1:1-1");
    EXPECT_EQ(screen.text(20, 2, 8), "line 18 ");
    EXPECT_EQ(screen.text(21, 2, 78), repeated("*** ANZEIGEN-ENDE ", 4) + "*** AN");
  }
}

// Plain, bright, reverse, or reverse and bright.
char look(std::uint16_t colour) {
  if (colour >= kColourReverse) return colour == kColourReverse ? 'r' : 'R';
  return colour == kColourPlain ? 'p' : 'b';
}

// Among the texts searched for: an umlaut of the keyboard, at the end of a full line; the fourth
// hit of "line 8", in line 82.
TEST_F(ViewerTest, HighlightsAndHitsTakeNoColumns) {
  screen_output_start();
  screen_output_text("one ");
  screen_output_highlight(true);
  screen_output_text("TWO");
  screen_output_highlight(false);
  screen_output_text(" three two" + std::string(226, '.') + "Gr|~e");
  screen_output_end_line();
  for (int number = 2; number <= 3000; ++number) {
    screen_output_text(list_line(number, 10));
    screen_output_end_line();
  }
  screen_output_end();
  const struct {
    const char* keys;
    const char* position;
    std::string text;  // beginning of the first row
    std::string looks;
  } cases[] = {{"", "1-1:1-1", "one TWO three two", "ppppbbbp"},
               {"^l^l^l^l^l", "1-1:1-6", "WO three two", "bbp"},
               {"sTwo\rn^l^l^l^l^l", "1-1:1-6", "WO three two", "rrpppppppRRRp"},
               {"s\x94~E\r", "1-1:1-171", "......", "p"},
               {"sline 25\rn", "9-10:250-1", "line 250 ", "RRRRRRRp"},
               {"sline 8\rnnn", "3-20:80-1", "line 80 ", "rrrrrrp"},
               {"sline 25\r^gn", "1-25:25-1", "line 25 ", "RRRRRRRp"},
               {"sline 25\rs\r", "1-25:25-1", "line 25 ", "pppppppp"},
               {"\tsone\rs!\x1B", "1-1:1-1", "one TWO", "RRRp"},
               {"sline 2999\r", "100-12:2982-1", "line 2982 ", "p"},
               {"snowhere\r", "1-1:1-1", "one TWO", "p"}};
  for (const auto& [keys, position, text, looks] : cases) {
    SCOPED_TRACE(keys);
    const Recording& screen = view(keys);
    const auto width = static_cast<int>(std::string_view(position).size());
    EXPECT_EQ(screen.text(1, 81 - width, width), position);
    EXPECT_EQ(screen.text(3, 2, static_cast<int>(text.size())), text);
    std::string seen;
    for (int column = 2; seen.size() < looks.size(); ++column)
      seen += look(screen.cell(3, column).colour);
    EXPECT_EQ(seen, looks);
  }
  EXPECT_TRUE(was_shown("Nicht gefunden: nowhere", kScreenRows));
}

TEST_F(ViewerTest, ASearchIsBrokenOffByAKey) {
  make_list(9000, 20);
  EXPECT_EQ(view("snowhere\rx+").text(1, 72, 9), "1-20:20-1");
  EXPECT_TRUE(was_shown("Suche abgebrochen", kScreenRows));
  make_list(5000, 20);
  screens.clear();
  EXPECT_EQ(view("snowhere\r\x12+").text(1, 72, 9), "1-20:20-1");  // Ctrl-R repaints the screen
  EXPECT_TRUE(was_shown("Nicht gefunden: nowhere", kScreenRows));
}

TEST_F(ViewerTest, ControlCharactersOfAListAreVisible) {
  screen_output_start();
  screen_output_text("a\x1B[2Jb\a\x7F\x9B\xE4|");
  screen_output_end_line();
  screen_output_end();
  EXPECT_EQ(view("").text(3, 2, 11), "a.[2Jb...\x84|");
}

TEST_F(ViewerTest, ThePrinterGetsTheBytes) {
  screen_output_start();
  std::string bytes;
  for (int number = 0; bytes.size() < 150000; ++number)
    bytes += "\x1B&l0O" + std::to_string(number);
  screen_output_bytes(bytes);
  screen_output_end();
  EXPECT_EQ(view("^4").text(24, 1, 16), "Cursor-Steuerung");
  EXPECT_EQ(printer.got, bytes);
  EXPECT_EQ(printer.longest_piece, 125U);
  EXPECT_EQ(printer.key_line, "AUSDRUCK L[UFT !" + std::string(64, ' '));

  printer = {};
  printer.pieces_until_abort = 3;
  view("^4");
  EXPECT_EQ(printer.got, bytes.substr(0, 375));

  printer = {};
  view("^4\r", 60, [](std::span<const char>) { return 1; });
  EXPECT_TRUE(was_shown("Drucker nicht bereit !", kScreenRows));
  // Whatever becomes of the names, the viewer prints and removes the list's files.
  printer = {};
  for (const char* file : {"DRUCK.TMP", "VIDEO.TMP"}) {
    std::filesystem::rename(file, file + ".gone"s);
    write_file(file, "somebody else's");
  }
  EXPECT_EQ(view("^4").text(3, 2, 15), "*** ANZEIGEN-EN");
  EXPECT_EQ(printer.got, bytes);
  screen_output_remove();
  EXPECT_EQ(read_file("DRUCK.TMP") + read_file("VIDEO.TMP"), "somebody else'ssomebody else's");
}

TEST_F(ViewerTest, WithoutAKeyboardOrAFileItEnds) {
  make_list(3, 10);
  viewer_run({.name = std::string(100, 'n')});  // no key is typed
  ASSERT_EQ(screens.size(), 1U);
  EXPECT_EQ(screens[0].text(1), "Ausgabe: " + repeated("n", 51) + repeated(" ", 13) + "1-1:1-1");
  screen_output_remove();
  recording().type("\r");
  viewer_run({.name = "Kunden"});
  EXPECT_TRUE(was_shown("VIDEO.TMP: No such file or directory", kScreenRows));
}

}  // namespace
}  // namespace marigold::inner::test
