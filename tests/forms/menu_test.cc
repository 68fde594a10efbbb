// SPDX-License-Identifier: GPL-3.0-or-later
// Menus and the status line: tests type keys and look at the screens.
#include "marigold/menus.h"

#include "runtime/texte/texte.h"
#include "tests/data/support.h"
#include "tests/support/watched_session.h"

namespace marigold::inner::test {
namespace {

struct MenuTest : DataTest {
  int type(const std::string& keys, int start = 0) {
    recording().type(keys);
    const int number = menu_run(menu, start);
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_FALSE(recording().keyboard_lost);
    EXPECT_EQ(screen_text_now(), before);
    EXPECT_EQ(wi_active(), session.window);
    return number;
  }

  WatchedSession session;
  std::string before = screen_text_now();
  std::vector<MenuEntry> deep = {{.text = "Deep &1", .number = 31}};
  Menu deep_menu{.entries = deep};
  std::vector<MenuEntry> lists = {{.text = "&Prices", .number = 21},
                                  {.text = "&Stock && more", .number = 22, .key = kKeyF9},
                                  {.text = "&Deeper", .submenu = &deep_menu}};
  Menu list_menu{.title = "Lists", .entries = lists, .help_key = "_LISTS_"};
  std::vector<MenuEntry> entries = {
      {.text = "&Customers", .number = 1, .key = kKeyF2, .help_key = "_CUST_"},
      {.text = "A&rticles", .number = 2},
      {},
      {.text = "&Gone", .number = 3, .key = kKeyF3, .enabled = false},
      {.text = "&Lists", .submenu = &list_menu}};
  Menu menu{.title = "Shop", .row = 4, .column = 8, .entries = entries, .help_key = "_SHOP_"};
};

TEST_F(MenuTest, KeysChoose) {
  const struct {
    std::string keys;
    int number;
    int start = 0;
  } cases[] = {
      {kEnter, 1},
      {kDown + kEnter, 2},
      {kTabKey + kShiftTab + kEnter, 1},
      {kEscape, 0},
      {kLeft + kEscape, 0},  // Left does not leave the first menu
      {"c", 1},
      {"R", 2},
      {"a"s + kEnter, 2},   // the first letter only moves
      {"g"s + kEscape, 0},  // not enabled
      {kUp + kEnter + kEnter, 21},
      {kEnd + kRight + kDown + kEnter, 22},
      {"ls", 22},
      {"ld1", 31},
      {"l"s + kEscape + kHome + kEnter, 1},
      {"ld"s + kLeft + kLeft + kPageUp + kEnter, 1},
      {"ld"s + kControlHome, 0},
      {function_key(2), 1},
      {"ld"s + function_key(2), 1},
      {function_key(9), 22},
      {function_key(3) + kEscape, 0},
      {function_key(5) + kRight + kEscape, 0},
      {kEnter, 22, 22},
      {kEscape + kEscape, 0, 22},
      {kEnter, 31, 31},
      {kEnter, 1, 99},  // no such entry
      {kHelp + "?" + function_key(1) + "?" + kDown + kHelp + "?l" + kHelp + "?p", 21},
  };
  for (const auto& [keys, number, start] : cases) {
    SCOPED_TRACE(keys);
    EXPECT_EQ(type(keys, start), number);
  }
  for (const char* help : {"available: _CUST_", "available: _SHOP_", "available: _LISTS_"})
    EXPECT_TRUE(was_shown(help)) << help;
}

// Returns rows of the screen that the user saw last, without blanks at their ends; frames as "+-|".
std::string seen(int first, int last) {
  std::string rows;
  for (int row = first; row <= last; ++row) {
    std::string text = screens.back().text(row);
    text.resize(text.find_last_not_of(' ') + 1);
    rows += text + "\n";
  }
  const std::string_view frame = "\xC4\xB3\xDA\xBF\xC0\xD9";
  for (char& cell : rows) {
    if (const std::size_t i = frame.find(cell); i != std::string_view::npos) cell = "-|++++"[i];
  }
  return rows;
}

TEST_F(MenuTest, SubmenusLieBesideTheirParent) {
  menu.row = 7;
  menu.status = "Choose";
  type("ld" + kControlHome);
  EXPECT_EQ(seen(7, 18),
            "       +-----------------+\n"
            "       | Shop            |\n"
            "       | Customers    F2 |\n"
            "       | Articles        |\n"
            "       |-----------------|\n"
            "       | (Gone)       F3 |\n"
            "       | Lists         > |+--------------------+\n"
            "       +-----------------+| Lists              |\n"
            "                          | Prices             |\n"
            "                          | Stock & more    F9 |\n"
            "                          | Deeper           > |+--------+\n"
            "                          +--------------------+| Deep 1 |\n");
  EXPECT_TRUE(was_shown("\n Choose "));
  // Without room on the right the submenu lies on the left, and both stay on the screen.
  menu.row = 99;
  menu.column = 60;
  type("l" + kControlHome);
  EXPECT_EQ(seen(18, 23),
            "                                     +--------------------+| Customers    F2 |\n"
            "                                     | Lists              || Articles        |\n"
            "                                     | Prices             ||-----------------|\n"
            "                                     | Stock & more    F9 || (Gone)       F3 |\n"
            "                                     | Deeper           > || Lists         > |\n"
            "                                     +--------------------++-----------------+\n");
}

TEST_F(MenuTest, LongMenusScrollAndWideTextsEndVisibly) {
  std::vector<std::string> names;
  for (int i = 1; i <= 30; ++i)
    names.push_back("entry " + std::to_string(i) + (i == 9 ? std::string(90, 'w') : ""));
  entries.clear();
  for (int i = 0; i < 30; ++i)
    entries.push_back({.text = names[static_cast<std::size_t>(i)].c_str(), .number = i + 1});
  menu.entries = entries;
  EXPECT_EQ(type(kEnter), 1);
  EXPECT_TRUE(was_shown("(more)\xB3"));
  EXPECT_TRUE(was_shown("w> \xB3"));
  EXPECT_FALSE(was_shown(" entry 30 "));
  EXPECT_EQ(type(kEnd + kEnter), 30);
  EXPECT_TRUE(was_shown(" entry 30 "));
  EXPECT_EQ(type(kPageDown + kPageDown + kPageUp + kEnter), 11);
  EXPECT_EQ(type(kUp + kDown + kEnter), 1);
}

TEST_F(MenuTest, NothingToChooseAndTheEndOfTheKeyboard) {
  for (MenuEntry& entry : entries)
    entry.enabled = false;
  EXPECT_EQ(type(kDown + kPageDown + "c" + kEnter + kEscape), 0);
  menu.entries = {};
  EXPECT_EQ(type(kUp + kEnd + "c" + kEnter + kEscape), 0);
  menu.entries = std::span(lists);
  for (const std::string keys : {"", "d"}) {
    recording().type(keys);
    EXPECT_EQ(menu_run(menu), 0);
    EXPECT_EQ(screen_text_now(), before);
  }
}

TEST_F(MenuTest, LettersAreThoseOfTheLanguage) {
  write_textdb("locale/default/textdb", {{"&Customers", "K&unden"}, {"A&rticles", ""}});
  setenv("LANGUAGE_SEARCHPATH", "locale/default/%N", 1);
  settings_read();
  textdb_setup("");
  EXPECT_EQ(type("r" + kDown + "U"), 1);
  EXPECT_TRUE(was_shown(" Kunden "));
  unsetenv("LANGUAGE_SEARCHPATH");
  txt_start();
}

TEST_F(MenuTest, ErrorsOfTheProgram) {
  deep = {{.text = "again", .submenu = &deep_menu}};
  deep_menu.entries = deep;
  recording().type("ld" + std::string(9, '\r'));
  EXPECT_DEATH(menu_run(menu), "menu : it lies too deep\nsystem error 47\n");
  recording().keys.clear();
  EXPECT_EQ(type(function_key(7) + kEscape), 0);  // a search in menus without end ends
  lists[0].number = 0;
  recording().type("l");
  EXPECT_DEATH(menu_run(menu), "menu Lists: &Prices has neither .*\nsystem error 48\n");
}

TEST_F(MenuTest, TheStatusLineCountsAndStaysBelow) {
  DataFile& file = data_file("CUSTOMER");
  StatusLine line{.operator_name = "anna", .file = "Customers", .counted = &file};
  int window = 0;
  const auto shown = [&] {
    status_line_show(window, line);
    EXPECT_EQ(wi_active(), session.window);
    return recording().text(kScreenRows);
  };
  const std::string left = " anna                      Customers" + std::string(23, ' ');
  EXPECT_EQ(shown(), left + std::string(21, ' '));
  data_open(file, LockWait::kTell);
  write(file, 1);
  write(file, 2);
  EXPECT_EQ(shown(), left + "           2 records ");
  line.records = 1000000;
  EXPECT_EQ(shown(), left + "     1000000 records ");
  line.operator_name = "somebody with a long name";
  EXPECT_EQ(shown().substr(0, 28), " somebody with a long na>  C");
  message_line("over it", "");
  EXPECT_EQ(recording().text(kScreenRows).substr(0, 9), " somebody");
  p_destroy_w(window);
  terminal_refresh();
  EXPECT_EQ(screen_text_now(), before);
}

}  // namespace
}  // namespace marigold::inner::test
