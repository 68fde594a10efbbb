// SPDX-License-Identifier: GPL-3.0-or-later
// The user at the screen: the progress line, stopping a list, looking at one.

#include "marigold/application.h"
#include "runtime/print/output/output_channel.h"
#include "runtime/wi/dialog/window_interface.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"
#include "tests/print/command_support.h"
#include "tests/print/list_support.h"
#include "tests/support/recording_console.h"

namespace marigold::inner::test {
namespace {

struct ListScreenTest : PrintTest {
  ListScreenTest() {
    recording_reset();
    terminal_reset(&recording_console());
    errors_of([] { terminal_start(); });
    wi_start();
    create_w(window, 1, 1, 3, 10, false);
    p_active_w(window);
    write_list({.page_length = 4, .last_line = 4, .abort_text = "stopped"},
               {{"B", {words("b"), next_line()}}});
  }
  ~ListScreenTest() override { open_subsystems().window_system = false; }

  static std::string last_row() {
    terminal_refresh();
    const std::string text = recording().text(kScreenRows);
    return text.substr(0, text.find_last_not_of(' ') + 1);
  }

  int window = 0;
};

TEST_F(ListScreenTest, AKeyAsksAndTheSecondAnswerAborts) {
  list_open("L", {.show_progress = true});
  EXPECT_EQ(wi_active(), window);
  EXPECT_EQ(last_row(), "Press any key to interrupt");
  EXPECT_EQ(recording().cell(kScreenRows, 40).colour, kColourPlain);  // only the text is reverse
  EXPECT_EQ(recording().cell(kScreenRows, 1).colour, kColourReverse);
  list_print("B");
  EXPECT_FALSE(list_check_abort());
  const std::string progress = recording().text(kScreenRows);
  for (const std::string keys : {"x\r", "\xE0H\x1B"}) {  // go on; a key of two bytes, then Escape
    recording().type(keys);
    EXPECT_FALSE(list_check_abort());
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_EQ(recording().text(kScreenRows), progress);
  }
  recording().type("\x12");  // repaints the screen; no question
  EXPECT_FALSE(list_check_abort());
  list_print("B");
  recording().type("x\xE0M\r"s);
  EXPECT_TRUE(list_check_abort());
  EXPECT_EQ(last_row(), "Print aborting ... please wait");
  list_print("B");
  EXPECT_TRUE(list_check_abort());
  list_close();
  EXPECT_EQ(printed, "[10Z]b\nb\n\nstopped\n====\n");
  EXPECT_EQ(last_row(), "");
  EXPECT_EQ(wi_active(), window);
}

// Also without room for the last line above the footer.
TEST_F(ListScreenTest, AnAbortNearTheFootOfAPageGoesOnTheNextOne) {
  write_list({.page_length = 5, .last_line = 5, .abort_text = "stopped"},
             {{"B", {words("b"), next_line()}},
              {"OPEN", {words("o")}},
              {"H", {place(1, 1), words("h")}},
              {"F", {place(1, 1), words("f")}, {.footer_lines = 1}}});
  const struct {
    std::vector<std::string> blocks;
    std::string expected;
  } cases[] = {{{}, "h\n\nstopped\n\nf\n====\n"},
               {{"B"}, "h\nb\n\nstopped\nf\n====\n"},
               {{"OPEN"}, "h\no\n\nstopped\nf\n====\n"},
               {{"B", "B"}, "h\nb\nb\n\nf\n====\nh\n\nstopped\n\nf\n====\n"},
               {{"B", "OPEN"}, "h\nb\no\n\nf\n====\nh\n\nstopped\n\nf\n====\n"},
               {{"B", "B", "B"}, "h\nb\nb\nb\nf\n====\nh\n\nstopped\n\nf\n====\n"}};
  for (const auto& [blocks, expected] : cases) {
    printed.clear();
    list_open("L", {.show_progress = true});
    list_set_header("H");
    list_set_footer("F");
    for (const std::string& block : blocks)
      list_print(block);
    recording().type("x\xE0M\r"s);
    EXPECT_TRUE(list_check_abort());
    list_close();
    EXPECT_EQ(printed, "[10Z]" + expected) << &blocks - &cases[0].blocks;
  }
}

TEST_F(ListScreenTest, WithoutTheProgressLineNobodyIsAsked) {
  recording().type("x");
  list_open("L");
  EXPECT_FALSE(list_check_abort());
  list_print("B");
  list_close();
  EXPECT_EQ(printed, "[10Z]b\n\n\n\n====\n");
  EXPECT_EQ(last_row(), "");
}

TEST_F(ListScreenTest, AListForTheScreenIsShownWhenItIsClosed) {
  list_to_device(nullptr);
  list_to_screen(true);
  list_open("L", {.show_progress = true});
  list_print("B");
  EXPECT_EQ(last_row(), "");
  recording().type("+\0;"s);  // F1
  list_close();
  EXPECT_TRUE(recording().keys.empty());
  EXPECT_FALSE(recording().keyboard_lost);
  EXPECT_FALSE(std::filesystem::exists("VIDEO.TMP") || std::filesystem::exists("DRUCK.TMP"));
  EXPECT_EQ(wi_active(), window);
  // F4 opens a printer of its own each time.
  search_here();
  place_child("dr", [](const std::string& name) {
    write_file("names", read_file("names") + name + "\n");
    keep_input("out");
  });
  const auto print_and_close = [] {
    bool complete = false;
    list_open("L");
    list_print("B");
    recording().type("\0>x\r\0;"s);  // a key typed meanwhile leads to the question
    list_close(&complete);
    return complete;
  };
  list_to_viewer_printer("laser");
  EXPECT_TRUE(print_and_close());
  EXPECT_TRUE(print_and_close());
  EXPECT_EQ(read_file("names") + read_file("out"),
            "laser\nlaser\nb\r\n\r\n\r\n\r\nb\r\n\r\n\r\n\r\n");
  EXPECT_EQ(told, "");
  place_child("dr", [](const std::string&) { std::_Exit(3); });
  EXPECT_FALSE(print_and_close());
  EXPECT_EQ(told, "dr laser: the print command ended with status 3 \n");
  told.clear();
  list_to_viewer_printer("");
  EXPECT_FALSE(print_and_close());
  EXPECT_EQ(told, "Drucker nicht bereit ! \n");
  told.clear();
  std::filesystem::create_directories("VIDEO.TMP/in the way");
  list_open("L");
  list_print("B");
  EXPECT_TRUE(list_check_abort());
  list_close();
  EXPECT_EQ(told, "VIDEO.TMP: Is a directory \n");
}

TEST_F(ListScreenTest, TheUserChoosesWhereAListGoes) {
  search_here();
  place_child("dr", [](const std::string&) { keep_input("out"); });
  user_interface().warning = [](const char* text) { told.append(text).append("\n"); };
  static int no_then_yes = 0;
  user_interface().choose = [](const char* question, auto, auto) {
    told.append(question);
    return no_then_yes++;
  };
  const std::string down = "\xE0P";
  const std::string other = "\xE0O\b\b\b\bkept";
  const auto print_one = [] {
    list_print("B");
    return true;
  };
  const auto stop = [] {
    list_print("B");
    return false;
  };
  const struct {
    std::string keys;
    const char* list;
    std::function<bool()> blocks;
    bool complete;
    std::string told;
    std::string printer = "laser";
    const char* file = "";      // that is there afterwards
    std::string contents = "";  // of it
  } cases[] = {
      {"\x1B", "L", print_one, false, ""},
      {down + "\r", "L", print_one, true, "Printed on laser. \n", "laser", "out",
       "b\r\n\r\n\r\n\r\n"},
      {down + "\r", "L", stop, false, "Not everything is printed: it was stopped\n"},
      {down + "\r", "L", print_one, false,
       "Not everything is printed: the print command of broken ended with status 3.\n", "broken"},
      {down + "\r", "L", print_one, false,
       "No print command for the printer #none was found. Print into a file, or ask whoever looks "
       "after the computer.\n",
       "#none"},
      {down + down + "\r\x1B", "L", print_one, false, ""},
      {down + down + "\r" + "\xE0O" + "2\r", "L", print_one, true, "list2 is written. \n", "laser",
       "list2", "b\n\f"},
      {down + down + "\r\r", "L", stop, false, "Nothing is printed: it was stopped\n"},
      {down + down + "\r\xE0G" + "none/\r", "L", print_one, false,
       "Nothing is printed: none/list: No such file or directory\n"},
      {down + down + "\r\r", "X", print_one, false, "The list X is missing or damaged.\n"},
      {"\r", "X", print_one, false, "The list X is missing or damaged.\n"},
      {down + down + "\r" + other + "\r\x1B", "L", print_one, false, "Replace it?", "laser", "kept",
       "own"},
      {down + down + "\r" + other + "\r", "L", print_one, true, "Replace it?kept is written. \n",
       "laser", "kept", "b\n\f"},
  };
  write_file("kept", "own");
  for (const auto& row : cases) {
    SCOPED_TRACE(row.keys + row.told);
    told.clear();
    for (const char* name : {"out", "list", "list2"})
      std::filesystem::remove(name);
    if (row.printer == "broken") place_child("dr", [](const std::string&) { std::_Exit(3); });
    recording().type(row.keys);
    EXPECT_EQ(list_to_choice(row.list, {.printer = row.printer, .file_name = "list"}, row.blocks),
              row.complete);
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_EQ(wi_active(), window);
    EXPECT_TRUE(told.ends_with(row.told)) << told;  // the engine may have said more before
    for (const std::string name : {"list", "list2"})
      EXPECT_EQ(std::filesystem::exists(name), name == row.file) << name;
    EXPECT_EQ(read_file(row.file), row.contents);
    EXPECT_FALSE(printer_is_open());
  }
}

TEST_F(ListScreenTest, TheEndOfTheProgramEndsItsListAndShowsNone) {
  list_open("L", {.show_progress = true});
  list_print("B");
  runtime_end();
  EXPECT_EQ(printed, "[10Z]b\n\n\n\n====\n");
  channel_open("", 4, kVisibleDevice);
  channel_write("without a list");
  runtime_end();
  EXPECT_TRUE(printed.ends_with("\nwithout a list")) << printed;
  list_to_device(nullptr);
  list_to_screen(true);
  list_open("L");
  list_print("B");
  runtime_end();
  EXPECT_FALSE(recording().keyboard_lost);
  EXPECT_FALSE(std::filesystem::exists("VIDEO.TMP") || std::filesystem::exists("DRUCK.TMP"));
}

}  // namespace
}  // namespace marigold::inner::test
