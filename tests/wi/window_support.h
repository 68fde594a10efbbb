// SPDX-License-Identifier: GPL-3.0-or-later
// A fresh window manager over a recording console, and the contents of its terminal.
#pragma once

#include <string>
#include <vector>

#include "marigold/windows.h"
#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/wi/terminal/terminal.h"
#include "runtime/wi/window/window_table.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

class WindowTest : public testing::Test {
 protected:
  void SetUp() override {
    unsetenv("COMFAXUSEVT100");
    settings_read();
    recording_reset();
    terminal_reset(&recording_console());
    errors_of(terminal_start);  // the language has no character tables
    wi_start();
    said.clear();
    user_interface().message = [](const char* text, const char* help_key) {
      EXPECT_STREQ(help_key, "");
      said.append(text).append("\n");
    };
  }
  void TearDown() override {
    user_interface_start();
    settings_read();
  }

  static int make(int top, int left, int height, int width, bool no_frame = false) {
    int window = 0;
    create_w(window, top, left, height, width, no_frame);
    return window;
  }
  static int show(int top, int left, int height, int width, bool no_frame = false) {
    const int window = make(top, left, height, width, no_frame);
    p_active_w(window);
    return window;
  }
  // Returns the contents of the terminal layer, refreshed or not.
  static std::string screen(int row, int column, int count) {
    terminal_refresh();
    return recording().text(row, column, count);
  }
  static inline std::string said;  // messages, one a line
};

}  // namespace marigold::inner::test
