// SPDX-License-Identifier: GPL-3.0-or-later
// A window system over a recording console, whose screen is noted at each wait for a key: tests type
// keys and look at what the user saw.
#pragma once

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

// The screens, row by row, at each wait for a key.
inline std::vector<std::string> screens;

inline std::string screen_text_now() {
  std::string rows;
  for (int row = 1; row <= kScreenRows; ++row)
    rows += recording().text(row) + "\n";
  return rows;
}

inline const Console& watched_console() {
  static const Console kConsole = [] {
    Console console = recording_console();
    console.read_key = [] {
      screens.push_back(screen_text_now());
      return recording_console().read_key();
    };
    return console;
  }();
  return kConsole;
}

inline bool was_shown(std::string_view text) {
  for (const std::string& shown : screens) {
    if (shown.find(text) != std::string::npos) return true;
  }
  return false;
}

// A window that says "beneath", over a fresh screen.
struct WatchedSession {
  WatchedSession() {
    screens.clear();
    recording_reset();
    settings_read();
    terminal_reset(&watched_console());
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
