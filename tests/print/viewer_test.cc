// The choice of an output and the viewer, typed into and looked at as they wait for each key.

#include "runtime/print/viewer.h"

#include <sys/resource.h>

#include <algorithm>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/print/output_choice.h"
#include "runtime/print/screen_output.h"
#include "runtime/wi/wi.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"
#include "tests/support/terminal_session.h"

namespace marigold::test {
namespace {

// Keys as the console sends them.
const std::string kUp = "\xE0H";
const std::string kDown = "\xE0P";
const std::string kLeft = "\xE0K";
const std::string kRight = "\xE0M";
const std::string kInsert = "\xE0R";
const std::string kDelete = "\xE0S";
const std::string kControlHome = "\xE0w";
const std::string kEnter = "\r";
const std::string kF1("\0;", 2);
const std::string kF4("\0>", 2);

std::string repeated(const std::string& key, int times) {
  std::string keys;
  for (int i = 0; i < times; ++i)
    keys += key;
  return keys;
}

// What stood on the screen whenever a key was waited for, the last one at the end.
std::vector<Recording> screens;

const Console& watched_console() {
  static const Console kConsole = [] {
    Console console = recording_console();
    console.read_key = [] {
      screens.push_back(recording());
      return recording_console().read_key();
    };
    return console;
  }();
  return kConsole;
}

bool was_shown(std::string_view text, int row) {
  return std::ranges::any_of(screens, [&](const Recording& screen) {
    return screen.text(row).find(text) != std::string::npos;
  });
}

std::string printed;
std::size_t longest_piece;
int pieces_until_abort;
std::string key_line_at_print;

int print(std::span<const char> bytes) {
  printed.append(bytes.data(), bytes.size());
  longest_piece = std::max(longest_piece, bytes.size());
  key_line_at_print = recording().text(24);
  return 0;
}

std::string line_text(int number) {
  return "line " + std::to_string(number) + " ";
}

// The line as it is looked for on the screen, so long that all of its columns differ.
std::string list_line(int number, std::size_t length) {
  std::string text = line_text(number);
  while (text.size() < length)
    text += static_cast<char>('!' + text.size() % 80);
  return text.substr(0, length);
}

struct ViewerTest : testing::Test {
  ViewerTest() {
    screens.clear();
    printed.clear();
    longest_piece = 0;
    pieces_until_abort = 1000;
    recording_reset();
    settings_read();
    terminal_reset(&watched_console());
    errors_of([] { terminal_start(); });
    wi_start();
    wi_set_live(true);
    user_interface_start();
    window_interface_start();
    create_w(window, 2, 1, 5, 60, false);
    p_printstr(window, 1, 1, "beneath");
    p_active_w(window);
    screen_output_start();
  }
  ~ViewerTest() override {
    screen_output_remove();
    window_interface_end();
    open_subsystems().window_system = false;
  }

  static void make_list(int lines, std::size_t length) {
    screen_output_start();
    for (int number = 1; number <= lines; ++number) {
      screen_output_text(list_line(number, length));
      screen_output_end_line();
    }
    screen_output_end();
  }

  // The screen before the F1 that ends the viewer.
  const Recording& view(const std::string& keys, int page_length = 30) {
    const ConsoleBuffer before = recording().cells;
    recording().type(keys + kF1);
    viewer_run({.name = "Kunden", .page_length = page_length, .print = print, .aborted = [] {
                  return --pieces_until_abort < 0;
                }});
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_FALSE(recording().keyboard_lost);
    EXPECT_EQ(recording().cells, before);
    EXPECT_EQ(wi_active(), window);
    EXPECT_TRUE(wi_live());
    // F1 is two bytes.
    return screens.at(screens.size() - 2);
  }

  WorkDirectory directory;
  int window = 0;
};

TEST_F(ViewerTest, TheUserChooses) {
  for (const auto& [keys, screen] : {std::pair{kEnter, false},
                                     {kDown + kEnter, true},
                                     {"b"s + kEnter, true},
                                     {kDown + "\x1B", false}}) {
    recording().type(keys);
    EXPECT_EQ(output_choose_screen(), screen) << keys;
  }
  EXPECT_EQ(screens.front().text(9, 34, 14), "Ausgabe w{hlen");
  EXPECT_EQ(screens.front().text(10, 34, 14), " Ausgabe auf: ");
  EXPECT_EQ(screens.front().text(11, 34, 14), " ------------ ");
  EXPECT_EQ(screens.front().text(12, 34, 14), " Drucker      ");
  EXPECT_EQ(screens.front().text(13, 34, 14), " Bildschirm   ");
}

TEST_F(ViewerTest, KeysMove) {
  // 101 lines with the end marks, 110 columns: the last screenful begins in line 82, column 33.
  make_list(100, 110);
  const struct {
    std::string keys;
    const char* position;
    int line;
    int column;
    std::string marks;  // above, left, below, right
    int page_length = 30;
  } cases[] = {
      {"", "1-1:1-1", 1, 1, "..v>"},
      {"+", "1-20:20-1", 20, 1, "^.v>"},
      {kEnter, "1-20:20-1", 20, 1, "^.v>"},
      {"+++", "2-28:58-1", 58, 1, "^.v>"},
      {repeated("+", 9), "3-22:82-1", 82, 1, "^..>"},
      {"++-", "1-20:20-1", 20, 1, "^.v>"},
      {"+--", "1-1:1-1", 1, 1, "..v>"},
      {"*", "2-1:31-1", 31, 1, "^.v>"},
      {"+*", "2-1:31-1", 31, 1, "^.v>"},
      {"***", "3-22:82-1", 82, 1, "^..>"},
      {"++/", "1-1:1-1", 1, 1, "..v>"},
      {"**"s + kDown + "/", "2-1:31-1", 31, 1, "^.v>"},
      {"/", "1-1:1-1", 1, 1, "..v>"},
      {"\t", "1-1:1-27", 1, 27, ".<v>"},
      {"\t\t", "1-1:1-33", 1, 33, ".<v."},
      {"\t" + kDelete, "1-1:1-1", 1, 1, "..v>"},
      {kRight + kRight + kLeft, "1-1:1-2", 1, 2, ".<v>"},
      {repeated(kRight, 40), "1-1:1-33", 1, 33, ".<v."},
      {kLeft, "1-1:1-1", 1, 1, "..v>"},
      {repeated(kDown, 29), "1-30:30-1", 30, 1, "^.v>"},
      {repeated(kDown, 30), "2-1:31-1", 31, 1, "^.v>"},
      {repeated(kDown, 99), "3-22:82-1", 82, 1, "^..>"},
      {kDown + kDown + kUp, "1-2:2-1", 2, 1, "^.v>"},
      {kUp, "1-1:1-1", 1, 1, "..v>"},
      {"\t" + kInsert, "3-22:82-1", 82, 1, "^..>"},
      {"\t" + kInsert + kUp, "3-21:81-1", 81, 1, "^.v>"},
      {"\t+" + kControlHome, "1-1:1-1", 1, 1, "..v>"},
      // Home, End, Page Up and Down, F2, Escape, Ctrl-A, Backspace and a letter do nothing.
      {"+\xE0G\xE0O\xE0I\xE0Q"s + std::string("\0<", 2) + "\x1B\x01\bxN", "1-20:20-1", 20, 1,
       "^.v>"},
      {"g45" + kEnter, "2-15:45-1", 45, 1, "^.v>"},
      {"+g-3" + kEnter, "1-1:1-1", 1, 1, "..v>"},
      {"g9999999" + kEnter, "3-22:82-1", 82, 1, "^..>"},
      {"+g45\x1B", "1-20:20-1", 20, 1, "^.v>"},
      {"?x", "1-1:1-1", 1, 1, "..v>"},
      // Without pages the whole list is one.
      {"+*", "1-82:82-1", 82, 1, "^..>", 0},
      {"++/", "1-1:1-1", 1, 1, "..v>", -7},
      {"+*/", "20-1:20-1", 20, 1, "^.v>", 1},
  };
  for (const auto& [keys, position, line, column, marks, page_length] : cases) {
    const Recording& screen = view(keys, page_length);
    const std::string place = position;
    EXPECT_EQ(screen.text(1), "Ausgabe: Kunden" + std::string(65 - place.size(), ' ') + place)
        << keys;
    for (int row = 1; row <= 19; ++row) {
      EXPECT_EQ(screen.text(row + 2, 2, 78),
                list_line(line + row - 1, 110).substr(static_cast<std::size_t>(column) - 1, 78))
          << keys;
    }
    const bool at_end = line == 82;
    EXPECT_EQ(screen.text(22, 2, 5) == "*** A", at_end) << keys;
    const struct {
      char set, mark;
      std::uint8_t frame;
      int row, column;
    } frame[] = {{'^', '+', 196, 2, 40},
                 {'<', '<', 179, 12, 1},
                 {'v', '+', 196, 23, 40},
                 {'>', '>', 179, 12, 80}};
    for (const auto& [set, mark, drawn, at_row, at_column] : frame) {
      const ConsoleCell marked{static_cast<std::uint8_t>(mark), kColourReverseBright};
      const ConsoleCell plain{drawn, kColourPlain};
      EXPECT_EQ(screen.cell(at_row, at_column),
                marks.find(set) != std::string::npos ? marked : plain)
          << keys << " " << set;
    }
    EXPECT_EQ(screen.text(24),
              "Cursor-Steuerung  +-=Bl{ttern  */=Seite  F1=Ende  F4=Druck" + std::string(22, ' '));
  }
}

TEST_F(ViewerTest, AShortListIsShownWhole) {
  make_list(18, 78);
  for (const std::string& keys : {""s, "+"s, kDown, kInsert, "*"s, "\t"s, kRight}) {
    const Recording& screen = view(keys);
    EXPECT_EQ(screen.text(1, 74, 7), "1-1:1-1");
    EXPECT_EQ(screen.text(3, 2, 7), "line 1 ");
    EXPECT_EQ(screen.text(20, 2, 8), "line 18 ");
    EXPECT_EQ(screen.text(21, 2, 78),
              "*** ANZEIGEN-ENDE *** ANZEIGEN-ENDE *** ANZEIGEN-ENDE "
              "*** ANZEIGEN-ENDE *** AN");
    EXPECT_EQ(screen.text(22, 2, 78), std::string(78, ' '));
  }
}

TEST_F(ViewerTest, HighlightsAndHitsTakeNoColumns) {
  screen_output_text("one ");
  screen_output_highlight(true);
  screen_output_text("TWO");
  screen_output_highlight(false);
  screen_output_text(" three two" + std::string(90, '.') + "Gr|~e");
  screen_output_end_line();
  for (int number = 2; number <= 3000; ++number) {
    screen_output_text(line_text(number));
    screen_output_end_line();
  }
  screen_output_end();
  constexpr auto kP = kColourPlain;
  constexpr auto kB = kColourBright;
  constexpr auto kR = kColourReverse;
  constexpr auto kC = kColourReverseBright;
  const struct {
    std::string keys;
    const char* position;
    std::string text;                  // of the first row
    std::vector<std::uint16_t> looks;  // of its first columns
  } cases[] = {
      {"", "1-1:1-1", "one TWO three two", {kP, kP, kP, kP, kB, kB, kB, kP}},
      {repeated(kRight, 5), "1-1:1-6", "WO three two", {kB, kB, kP}},
      {"stwo" + kEnter, "1-1:1-1", "one TWO three two", {kP, kP, kP, kP, kC, kC, kC, kP}},
      {"sTwo" + kEnter + "n" + repeated(kRight, 5),
       "1-1:1-6",
       "WO three two",
       {kR, kR, kP, kP, kP, kP, kP, kP, kP, kC, kC, kC}},
      {"sgr\x94\xE1"s + "e" + kEnter, "1-1:1-35", ".....", {kP}},  // umlauts of the keyboard
      {"sline 25" + kEnter, "1-25:25-1", "line 25 ", {kC, kC, kC, kC, kC, kC, kC, kP}},
      {"sline 25" + kEnter + "n", "9-10:250-1", "line 250 ", {kC, kC, kC, kC, kC, kC, kC, kP}},
      {"sline 8" + kEnter + "nnn", "3-20:80-1", "line 80 ", {kR}},  // the last one is 82
      {"sline 25" + kEnter + kControlHome + "n", "1-25:25-1", "line 25 ", {kC}},
      {"sline 25" + kEnter + "s" + kEnter, "1-25:25-1", "line 25 ", {kP}},
      {"sline" + kEnter + "s\x1B", "1-1:1-1", "one TWO", {kP}},
      {"sline 2999" + kEnter, "100-12:2982-1", "line 2982 ", {kP}},
      {"snowhere" + kEnter, "1-1:1-1", "one TWO", {kP}},
  };
  for (const auto& [keys, position, text, looks] : cases) {
    const Recording& screen = view(keys);
    const auto width = static_cast<int>(std::string_view(position).size());
    EXPECT_EQ(screen.text(1, 81 - width, width), position) << keys;
    EXPECT_EQ(screen.text(3, 2, static_cast<int>(text.size())), text) << keys;
    for (std::size_t column = 0; column < looks.size(); ++column)
      EXPECT_EQ(screen.cell(3, static_cast<int>(column) + 2).colour, looks[column])
          << keys << " " << column;
  }
  EXPECT_TRUE(was_shown("Nicht gefunden: nowhere", 24));
}

TEST_F(ViewerTest, ASearchIsBrokenOffByAKey) {
  make_list(9000, 20);
  EXPECT_EQ(view("snowhere" + kEnter + "x+").text(1, 72, 9), "1-20:20-1");
  EXPECT_TRUE(was_shown("Suche abgebrochen", 24));
  EXPECT_TRUE(was_shown("Suchen: nowhere", 24));
}

TEST_F(ViewerTest, ThePrinterGetsTheBytes) {
  screen_output_start();
  std::string bytes;
  for (int number = 0; bytes.size() < 150000; ++number)
    bytes += "\x1B&l0O" + std::to_string(number);
  screen_output_bytes(bytes);
  screen_output_end();
  pieces_until_abort = 2000;
  const Recording& after = view(kF4);
  EXPECT_EQ(printed, bytes);
  EXPECT_EQ(longest_piece, 125U);
  EXPECT_EQ(key_line_at_print, "AUSDRUCK L[UFT !" + std::string(64, ' '));
  EXPECT_EQ(after.text(24, 1, 16), "Cursor-Steuerung");

  printed.clear();
  pieces_until_abort = 3;
  view(kF4);
  EXPECT_EQ(printed, bytes.substr(0, 375));

  std::filesystem::remove("DRUCK.TMP");
  view(kF4 + kEnter);
  EXPECT_TRUE(was_shown("DRUCK.TMP: No such file or directory", 24));
  write_file("DRUCK.TMP", "x");
  recording().type(kF4 + kEnter + kF1);
  viewer_run({.name = "", .print = [](std::span<const char>) { return 1; }});
  EXPECT_TRUE(was_shown("Drucker nicht bereit !", 24));
}

TEST_F(ViewerTest, AFullDiskIsShownAndNotPrinted) {
  for (const rlim_t limit : {1000, 100}) {  // also where not even the line about it can be written
    screen_output_start();
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{limit, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
    screen_output_bytes(std::string(2000, 'b'));
    screen_output_end();
    setrlimit(RLIMIT_FSIZE, &before);
    const Recording& screen = view(kF4 + "+");
    EXPECT_EQ(screen.text(3, 2, 67),
              "DISKETTE/LAUFWERK VOLL: BEIM ERSTELLEN DER TEMPOR[REN DATEIEN !!!  ");
    EXPECT_EQ(screen.text(24),
              "Cursor-Steuerung  +-=Bl{ttern  */=Seite  F1=Ende" + std::string(32, ' '));
    EXPECT_EQ(printed, "");
  }
  setenv("COMFAXUSEVT100", "", 1);
  terminal_reset(&watched_console());
  recording().type(kF4 + kF1);
  testing::internal::CaptureStdout();
  viewer_run({.name = "Kunden", .print = print});
  const std::string written = testing::internal::GetCapturedStdout();
  unsetenv("COMFAXUSEVT100");
  EXPECT_EQ(std::ranges::count(written, '\a'), 1);
  EXPECT_EQ(printed, "");
}

TEST_F(ViewerTest, WithoutAKeyboardOrAFileItEnds) {
  make_list(3, 10);
  screens.clear();
  viewer_run({.name = std::string(100, 'n')});  // the keyboard is lost: no key is typed
  EXPECT_EQ(screens.size(), 1U);
  EXPECT_EQ(screens.front().text(1),
            "Ausgabe: " + std::string(51, 'n') + std::string(13, ' ') + "1-1:1-1");
  screen_output_remove();
  recording().type(kEnter);
  viewer_run({.name = "Kunden"});
  EXPECT_TRUE(was_shown("VIDEO.TMP: No such file or directory", 24));
}

// A program in a terminal: it asks, makes a list and shows it.
void run_program() {
  terminal_reset(nullptr);
  errors_of([] { runtime_start("print"); });
  if (output_choose_screen()) {
    screen_output_start();
    for (int number = 1; number <= 9000; ++number) {
      screen_output_text(line_text(number));
      screen_output_end_line();
    }
    screen_output_end();
    viewer_run({.name = "Kunden", .page_length = 60});
    screen_output_remove();
  }
  runtime_end();
}

TEST(ViewerTerminalTest, AListIsChosenShownAndLeft) {
  const WorkDirectory directory;
  TerminalSession session(run_program);
  const auto shows = [&](int row, const std::string& text) {
    return session.wait_until(
        [&] { return session.emulator.row_text(row).find(text) != std::string::npos; });
  };
  ASSERT_TRUE(shows(13, "Bildschirm"));
  session.type("b\r");
  ASSERT_TRUE(shows(1, "1-1:1-1"));
  EXPECT_TRUE(shows(3, "line 1"));
  session.type("*+\x1b[B");
  EXPECT_TRUE(shows(1, "2-21:81-1"));
  EXPECT_TRUE(shows(3, "line 81"));
  EXPECT_TRUE(shows(22, "line 100"));
  session.type("sLINE 8900\r");
  EXPECT_TRUE(shows(3, "line 8900"));
  session.type("\x1bOP");
  EXPECT_EQ(session.outcome(), 0);
  EXPECT_TRUE(session.restored());
  EXPECT_FALSE(std::filesystem::exists("VIDEO.TMP"));
}

}  // namespace
}  // namespace marigold::test
