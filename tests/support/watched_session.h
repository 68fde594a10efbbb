// SPDX-License-Identifier: GPL-3.0-or-later
// A window system over a recording console, whose screen is noted at each wait for a key: tests type
// keys and look at what the user saw.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/application.h"
#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/wi/dialog/window_interface.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// Keys as the console sends them.
inline const std::string kUp = "\xE0H";
inline const std::string kDown = "\xE0P";
inline const std::string kLeft = "\xE0K";
inline const std::string kRight = "\xE0M";
inline const std::string kHome = "\xE0G";
inline const std::string kEnd = "\xE0O";
inline const std::string kPageUp = "\xE0I";
inline const std::string kPageDown = "\xE0Q";
inline const std::string kInsert = "\xE0R";
inline const std::string kDelete = "\xE0S";
inline const std::string kControlHome = "\xE0w";
inline const std::string kEnter = "\r";
inline const std::string kEscape = "\x1B";
inline const std::string kHelp = "\x01";
inline const std::string kBack = "\b";
inline const std::string kTabKey = "\t";
inline const std::string kShiftTab = std::string("\0\x0F", 2);

// F1 to F9.
inline std::string function_key(int number) {
  return {'\0', static_cast<char>(';' + number - 1)};
}

// The screens at each wait for a key.
inline std::vector<Recording> screens;

// A screen row by row, a line feed after each.
inline std::string screen_text(const Recording& screen) {
  std::string rows;
  for (int row = 1; row <= kScreenRows; ++row)
    rows += screen.text(row) + "\n";
  return rows;
}
inline std::string screen_text_now() {
  return screen_text(recording());
}

inline const Console& watched_console() {
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

// Whether a screen had this text, in a row (0: in any, with the line feeds).
inline bool was_shown(std::string_view text, int row = 0) {
  return std::ranges::any_of(screens, [&](const Recording& screen) {
    return (row == 0 ? screen_text(screen) : screen.text(row)).find(text) != std::string::npos;
  });
}

// A window that says "beneath", over a fresh screen.
struct WatchedSession {
  explicit WatchedSession(const Console& console = watched_console()) {
    screens.clear();
    recording_reset();
    settings_read();
    terminal_reset(&console);
    errors_of([] { terminal_start(); });
    wi_start();
    user_interface_start();
    window_interface_start();
    create_w(window, 2, 1, 5, 60, false);
    p_printstr(window, 1, 1, "beneath");
    p_active_w(window);
    terminal_refresh();
  }
  WatchedSession(const WatchedSession&) = delete;
  WatchedSession& operator=(const WatchedSession&) = delete;
  ~WatchedSession() {
    window_interface_end();
    open_subsystems().window_system = false;
  }

  int window = 0;
};

}  // namespace marigold::inner::test
