// SPDX-License-Identifier: GPL-3.0-or-later
// Menus with submenus and short keys, and the status line of an application.
//
//   const MenuEntry lists[] = {{.text = "&Prices", .number = 21}, {.text = "&Stock", .number = 22}};
//   const Menu list_menu{.entries = lists};
//   const MenuEntry entries[] = {{.text = "&Customers", .number = 1, .key = kKeyF2},
//                                {},
//                                {.text = "&Lists", .submenu = &list_menu}};
//   const Menu menu{.title = "SHOP", .row = 4, .column = 8, .entries = entries};
//   for (int chosen = menu_run(menu); chosen != 0; chosen = menu_run(menu, chosen)) ...
//
// Texts are ids of the program's text database, as in forms.h. Process-wide, one thread; rows and
// columns count from 1. Characters are ISO 8859-1. Nothing throws.
#pragma once

#include <cstdint>
#include <span>

#include "marigold/data.h"     // IWYU pragma: export
#include "marigold/windows.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// ---- Menus

struct Menu;

struct MenuEntry {
  // Id of the text. The character after "&" in the text is the entry's letter, shown bright; "&&" is
  // the character itself. An entry without a text is a line between groups.
  const char* text = "";
  int number = 0;       // what menu_run returns, from 1; without effect if there is a submenu
  int key = 0;          // a function key (kKeyF1 and so on) that chooses the entry; 0: none
  bool enabled = true;  // an entry that is not enabled is shown in parentheses
  const Menu* submenu = nullptr;
  const char* help_key = "";  // "": that of the menu
};

struct Menu {
  const char* title = "";  // id, in the first row; "" for none
  int row = 1;  // of the upper left corner on the screen; submenus lie beside their parent
  int column = 1;
  std::span<const MenuEntry> entries = {};
  const char* status = "";  // id of a line shown in the last row of the screen; not in submenus
  const char* help_key = "";
};

inline constexpr int kMenuLevels = 8;  // menus inside one another at most

// Shows the menu in a frame, lets the user choose and takes it away again. Returns the number of the
// entry chosen, or 0 for Escape in the first menu, for Ctrl-Home, and at the end of the keyboard's
// input.
//
// Up, Down, Tab, Shift-Tab, Home, End and the page keys move, Enter chooses, Enter and Right open a
// submenu, Escape and Left go back from it. An entry's letter chooses it at once; another letter
// moves to the next entry that begins with it. An entry's function key chooses it from anywhere in
// the menu. F1, if no entry has it, and Ctrl-A show the help text (help_show). Menus that are higher
// than the screen scroll; a text that is wider ends in ">".
//
// With `start`, the number of an entry, the user begins there, with its submenu open. Uses a window
// for each open menu, and one for the status line if one is free. A submenu beyond kMenuLevels is
// system error 47, an entry with neither a number nor a submenu 48; a line on standard error names
// the menu.
int menu_run(const Menu& menu, int start = 0);

// ---- The status line, in the last row of the screen, below all other windows that reach into it.

struct StatusLine {
  const char* operator_name = "";  // as it stands, no id
  const char* file = "";           // id of the words for the file or task
  // Number of records. -1: that of the open keyed file `counted`, with the keys that programs have
  // locked for new records; none without such a file.
  std::int64_t records = -1;
  const DataFile* counted = nullptr;
};

// Shows the line. With `window` 0 it creates a window and gives its number, else it prints into the
// window of an earlier call. The active window stays the active one. The caller removes the line
// (p_destroy_w). The word after the number is the text "STATUS.RECORDS", else "records".
void status_line_show(int& window, const StatusLine& line);

#pragma GCC visibility pop

}  // namespace marigold
