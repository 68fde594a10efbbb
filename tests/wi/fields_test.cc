// SPDX-License-Identifier: GPL-3.0-or-later
// Messages, selections and input fields: tests type keys and look at the screen at each wait for a
// key.

#include <array>
#include <limits>
#include <vector>

#include "marigold/texts.h"
#include "runtime/core/line_output.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/char_table.h"
#include "runtime/texte/txt.h"
#include "runtime/wi/window/window_table.h"
#include "tests/support/watched_session.h"

namespace marigold::inner::test {
namespace {

struct FieldsTest : testing::Test {
  // Expects that all keys were taken and the screen is as before.
  void expect_left_as_found() const {
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_FALSE(recording().keyboard_lost);
    EXPECT_EQ(screen_text_now(), screens_before);
    EXPECT_EQ(wi_active(), session.window);
  }

  WatchedSession session;
  int window = session.window;
  std::string screens_before = screen_text_now();
};

TEST_F(FieldsTest, MessagesAreShownUntilAKey) {
  int unused = 0;
  recording().type(kHelp + "x" + "y");
  user_interface().message("The printer is busy.", "_BUSY_");
  EXPECT_TRUE(was_shown("\nThe printer is busy."));
  EXPECT_TRUE(was_shown("No help available: _BUSY_"));
  expect_left_as_found();

  recording().type(kEnter + kEnter);
  user_interface().message("A\x1B[2J\a\x9B\tB", "");
  EXPECT_TRUE(was_shown("\nA.[2J...B "));
  user_interface().warning("C\x1B[2J\r\nD");
  EXPECT_TRUE(was_shown(" C.[2J. "));
  expect_left_as_found();

  recording().type(kEnter);
  const std::string word(70, 'w');
  user_interface().warning(("Two words and " + word + "\nand a line").c_str());
  EXPECT_TRUE(was_shown("WARNING!"));
  EXPECT_TRUE(was_shown(" Two words and  "));
  EXPECT_TRUE(was_shown(" "s + std::string(60, 'w') + " "));
  EXPECT_TRUE(was_shown(" "s + std::string(10, 'w') + " "));
  EXPECT_TRUE(was_shown(" and a line "));
  EXPECT_TRUE(was_shown(" OK "));
  expect_left_as_found();

  recording().type(kEnter + kEnter + kEnter);
  warning_box("");
  warning_box(std::string(5000, 'x').c_str());  // more than the screen has room for
  for (int number = 0; number < kWindows - 1; ++number)
    create_w(unused, 1, 1, 3, 3, false);
  message_line(std::string(500, 'x').c_str(), nullptr);  // needs no window
  expect_left_as_found();
}

TEST_F(FieldsTest, HelpIsATextOfTheDatabase) {
  const WorkDirectory directory;
  Records records = {{"_BED_", "Beds lie along the wall."},
                     {"GARDEN._TREE_", "Trees of this garden."},
                     {"_TREE_", "Trees."},
                     {"_LONG_+", "first"},
                     {"_LONG_+1", ""}};
  for (int line = 2; line <= 20; ++line)
    records.emplace_back("_LONG_+" + std::to_string(line), "line " + std::to_string(line));
  write_textdb("locale/default/textdb", records);
  setenv("LANGUAGE_SEARCHPATH", "locale/default/%N", 1);
  settings_read();
  textdb_setup("GARDEN");
  recording().type(std::string(5, '\r') + kEscape);
  for (const char* key : {"_BED_", "_TREE_", "_LONG_", "_NONE_", "_LONG_"})
    help_show(key);
  expect_left_as_found();
  for (const char* shown : {" Beds lie along the wall. ", " Trees of this garden. ", " first ",
                            " line 14", "(more)", " line 20", "No help available: _NONE_"})
    EXPECT_TRUE(was_shown(shown)) << shown;
  EXPECT_EQ(screens.size(), 6U);
  unsetenv("LANGUAGE_SEARCHPATH");
  txt_start();
}

TEST_F(FieldsTest, SelectionsReturnTheNumberChosen) {
  const SelectionEntry few[] = {{"Heading", false}, {"Apple"}, {"Birch"},
                                {"------", false},  {"Ash"},   {""}};
  const SelectionEntry german[] = {{"\xC4rger"}, {"[ra"},  {"\xE9tude"},
                                   {"\xF6l"},    {"\xD7"}, {"z\x1B[31m"}};
  const SelectionEntry none[] = {{"Heading", false}};
  std::vector<std::string> names;
  std::vector<SelectionEntry> many;
  for (int i = 1; i <= 60; ++i)
    names.push_back("number " + std::to_string(i));
  for (const std::string& name : names)
    many.push_back({name});
  const struct {
    std::span<const SelectionEntry> entries;
    std::string keys;
    int chosen;
    const char* layout = "100000000";
  } cases[] = {
      {few, kEnter, 2},
      {few, kEscape, 0},
      {few, kControlHome, 0},
      {few, kDown + kDown + kEnter, 5},
      {few, kUp + kEnter, 6},
      {few, kShiftTab + kEnter, 6},
      {few, kEnd + kDown + kEnter, 2},
      {few, kPageDown + kEnter, 6},
      {few, kEnd + kPageUp + kEnter, 2},
      {few, kEnd + kHome + kEnter, 2},
      {few, "a"s + kEnter, 5},
      {few, "AA"s + kEnter, 2},
      {few, "bh"s + kEnter, 3},  // no letter of an entry that can be chosen
      {few, "b"s + kEnter, 2, "000000000"},
      // Typed in code page 437: small and large a with dots, large e with accent, large o with
      // dots.
      {german, "\x84\x8E"s + kEnter, 1},
      {german, "\x84"s + kEnter, 2},
      {german, "\x90"s + kEnter, 3},
      {german, "\x99"s + kEnter, 4},
      {german, "{"s + kEnter, 2},
      {german, "\xF6"s + kEnter, 1},  // the division sign is no small multiplication sign
      {few, kRight + kLeft + kRight + kHelp + kEnter + kEnter, 3, "110000000"},
      {few, "\x06g", 0},
      {none, kDown + kPageUp + "h"s + kEnter, 0},
      {{}, kDown + kEnter, 0},
      {many, kPageDown + kPageDown + kDown + kEnter, 42},
      {many, kEnd + kEnter, 60},
      {many, kRight + kEnter, 2, "110000000"},
      {many, kEnd + kLeft + kEnter, 59, "110000000"},
  };
  for (const auto& [entries, keys, chosen, layout] : cases) {
    recording().type(keys);
    const SelectionField field{.row = 3,
                               .column = 5,
                               .title = "Trees",
                               .entries = entries,
                               .layout = layout,
                               .help_key = "_TREE_"};
    EXPECT_EQ(selection_field(field), chosen) << keys;
    expect_left_as_found();
  }
  EXPECT_TRUE(was_shown("(more)"));
  EXPECT_TRUE(was_shown(" number 58  number 59  number 60 "));  // scrolled side by side
  EXPECT_TRUE(was_shown("\xB3 number 60 "));
  EXPECT_TRUE(was_shown(" Heading  Apple  Birch "));
  EXPECT_TRUE(was_shown("No help available: _TREE_"));
  EXPECT_TRUE(was_shown("\xB3 z.[31m "));
}

TEST_F(FieldsTest, TheInterfaceAsks) {
  const std::array<const char*, 2> answers = {"go on", "abort"};
  const std::array<const char*, 2> long_answers = {"an answer too long for the last row",
                                                   "and another one"};
  recording().type(kEscape + kRight + kEnter + kDown + kEnter);
  EXPECT_EQ(user_interface().choose("Print?", answers, "_P_"), 0);
  EXPECT_EQ(user_interface().choose("Print?", answers, "_P_"), 1);
  EXPECT_EQ(user_interface().choose("Print?", long_answers, "_P_"), 1);
  EXPECT_TRUE(was_shown("Print?                                    go on  abort "));
  recording().type(kEnter + kEscape + kRight + kEnter);
  EXPECT_TRUE(user_interface().ask_for_lock("A file lock", "__lock_"));
  EXPECT_FALSE(user_interface().ask_for_lock("A file lock", "__lock_"));
  EXPECT_FALSE(user_interface().ask_for_lock("A file lock", "__lock_"));
  EXPECT_TRUE(was_shown("A file lock                               try again  back "));
  expect_left_as_found();
}

TEST_F(FieldsTest, NoStatusLineStandsBesideTheAnswers) {
  int status = 0;
  create_status_w(status, std::string(78, 's').c_str());
  terminal_refresh();
  screens_before = screen_text_now();
  const std::array<const char*, 2> answers = {"go on", "abort"};
  recording().type(kEnter);
  EXPECT_EQ(user_interface().choose("Print?", answers, "_P_"), 0);
  EXPECT_TRUE(was_shown("Print?                                    go on  abort "));
  EXPECT_EQ(screen_text(screens.back()).find('s'), std::string::npos);
  EXPECT_EQ(screen_text_now(), screens_before);
  recording().type(kEnter);
  EXPECT_TRUE(user_interface().ask_for_lock("A file lock", "__lock_"));
  EXPECT_TRUE(was_shown("A file lock                               try again  back "));
  EXPECT_EQ(screen_text(screens.back()).find('s'), std::string::npos);
  EXPECT_EQ(screen_text_now(), screens_before);
}

TEST_F(FieldsTest, TextsAreEdited) {
  const struct {
    std::string keys;
    int code;
    const char* text;
    std::size_t least = 0;
  } cases[] = {
      {kEnter, kKeyEnter, "roses"},
      {kEnd + "!"s + kEnter, kKeyEnter, "roses!"},
      {"x"s + kDelete + kEscape, kKeyEscape, "roses"},
      {"x"s + kControlHome, kKeyStart, "roses"},
      {kInsert + "PO"s + kInsert + "-"s + kUp, kKeyUp, "PO-ses"},
      {kEnd + kBack + kBack + kDown, kKeyDown, "ros"},
      {kBack + kLeft + kRight + kDelete + "\t", kKeyTab, "rses"},
      {kEnd + kRight + kDelete + kPageDown, kKeyPageDown, "roses"},
      {kEnd + "!!!!"s + kEnter + kEnter, kKeyEnter, "roses!!!"},  // the fourth one: a message
      {kDelete + kDelete + kEnter + kEnter + "ch"s + kEnter, kKeyEnter, "chses", 4},
      {kHelp + kEnter + std::string("\0;", 2), kKeyF1, "roses"},
      {"x"s + kShiftTab, kKeyBackTab, "xroses"},
      {"\x12\x19\x04"s + "a" + kEnter, kKeyEnter, "aroses"},  // keys without a meaning here
      {"\a\x03"s, kKeyEscape, "roses"},                       // Ctrl-G and Ctrl-C
      {"\a\x15"s + kEnter, kKeyEnter, "\xB6roses"},           // Ctrl-G and a section sign
      {"\x81"s + kEnter, kKeyEnter, "\xFCroses"},             // u with dots, of code page 437
  };
  const FieldPlace place{.window = window, .row = 2, .column = 3, .width = 4, .help_key = "_T_"};
  for (const auto& [keys, code, expected, least] : cases) {
    std::string text = "roses";
    recording().type(keys);
    EXPECT_EQ(text_field(place, text, least, 8), code) << keys;
    EXPECT_EQ(text, expected) << keys;
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_EQ(wi_active(), window);
  }
  EXPECT_TRUE(was_shown("\xB3  rose "));
  EXPECT_TRUE(was_shown("\xB3  s!!! "));  // scrolled
  EXPECT_TRUE(was_shown("field length exceeded"));
  EXPECT_TRUE(was_shown("min 4 to max. 8 characters"));
  EXPECT_TRUE(was_shown("No help available: _T_"));
  EXPECT_EQ(recording().cell(4, 4).colour, kColourReverse);
}

TEST_F(FieldsTest, WildNumbersKeepFieldsAndSelectionsOnTheScreen) {
  user_interface().message = [](const char*, const char*) {};
  constexpr int kLeast = std::numeric_limits<int>::min();
  constexpr int kMost = std::numeric_limits<int>::max();
  const SelectionEntry entries[] = {{"one"}, {"two"}};
  for (const int a : {kLeast, -80, -1, 0, 81, kMost}) {
    for (const int b : {kLeast, -1, 0, 24, kMost}) {
      recording().type("x"s + kEnd + kEnter + kEnter + kDown + kEnter);
      std::string text = "roses";
      EXPECT_EQ(text_field({.window = window, .row = a, .column = b, .width = b}, text, 0, 9),
                kKeyEnter);
      EXPECT_EQ(text, "xroses");
      double value = 1;
      number_field({.window = window, .row = b, .column = a, .width = a}, "##0", value, 0, 9);
      EXPECT_EQ(selection_field({.row = a, .column = b, .title = "", .entries = entries}), 2);
      EXPECT_TRUE(recording().keys.empty());
      terminal_set_cursor(a, b);
      EXPECT_TRUE(recording().column >= 1 && recording().column <= 80) << a;
      EXPECT_TRUE(recording().row >= 1 && recording().row <= 24) << b;
      EXPECT_EQ(errors_of([a, b] { line_output_text(kLeast, a, "", b); }), "\n");
    }
  }
}

TEST_F(FieldsTest, NumbersAreEditedByTheirMask) {
  const std::string erase = kEnd + kBack + kBack + kBack + kBack;
  const struct {
    std::string keys;
    int code;
    double value;
  } cases[] = {
      {kEnter, kKeyEnter, 1.5},
      {kEscape, kKeyEscape, 1.5},
      {erase + "12,25"s + kEnter, kKeyEnter, 12.25},
      {erase + kEnter, kKeyEnter, 0},
      {erase + "-3"s + kEnter, kKeyEnter, -3},
      {erase + "101"s + kEnter + kEnter + kBack + kEnter, kKeyEnter, 10},  // out of bounds
      {erase + "1x"s + kEnter + kEnter + kEscape, kKeyEscape, 1.5},
      {erase + "7"s + kControlHome, kKeyStart, 1.5},
  };
  const FieldPlace place{.window = window, .row = 2, .column = 3};
  for (const auto& [keys, code, expected] : cases) {
    double value = 1.5;
    recording().type(keys);
    EXPECT_EQ(number_field(place, "-##0,00", value, -5, 100), code) << keys;
    EXPECT_EQ(value, expected) << keys;
    EXPECT_TRUE(recording().keys.empty());
  }
  EXPECT_TRUE(was_shown("numerical min. -  5,00 to max. 100,00 (range error)"));
  EXPECT_EQ(recording().text(4, 4, 7), "   1,50");
}

}  // namespace
}  // namespace marigold::inner::test
