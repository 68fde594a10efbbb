// SPDX-License-Identifier: GPL-3.0-or-later
// The viewer over a recording console: tests type keys and look at the screen at each wait for a
// key.
#pragma once

#include <algorithm>
#include <span>
#include <string>

#include "marigold/windows.h"
#include "runtime/print/output/screen_output.h"
#include "runtime/print/viewer/viewer.h"
#include "tests/support/watched_session.h"

namespace marigold::inner::test {

// Keys are written as on a plain terminal, "^" for Ctrl-F: "^1" F1, "^4" F4, "^h" "^j" "^k" "^l"
// the cursor keys, "^i" Insert, "^x" Delete, "^g" the start.
inline std::string typed(std::string keys) {
  std::ranges::replace(keys, '^', '\x06');
  return keys;
}

inline std::string repeated(const std::string& text, int times) {
  return times == 0 ? "" : text + repeated(text, times - 1);
}

struct Printer {
  std::string got;
  std::size_t longest_piece = 0;
  int pieces_until_abort = 2000;
  std::string key_line;
};
inline Printer printer;

inline int print(std::span<const char> bytes) {
  printer.got.append(bytes.data(), bytes.size());
  printer.longest_piece = std::max(printer.longest_piece, bytes.size());
  printer.key_line = recording().text(kScreenRows);
  return 0;
}

inline std::string list_line(int number, std::size_t length) {
  std::string text = "line " + std::to_string(number) + " ";
  while (text.size() < length)
    text += static_cast<char>('!' + text.size() % 80);
  return text.substr(0, length);
}

inline void make_list(int lines, std::size_t length) {
  screen_output_start();
  for (int number = 1; number <= lines; ++number) {
    screen_output_text(list_line(number, length));
    screen_output_end_line();
  }
  screen_output_end();
}

struct ViewerTest : testing::Test {
  ViewerTest() {
    printer = {};
    wi_set_live(true);
  }
  ~ViewerTest() override { screen_output_remove(); }

  // Returns the screen before the F1 that ends the viewer, which must restore everything.
  const Recording& view(const std::string& keys, int page_length = 30,
                        int (*print_bytes)(std::span<const char>) = print) const {
    const ConsoleBuffer before = recording().cells;
    recording().type(typed(keys + "^1"));
    viewer_run({.name = "Kunden", .page_length = page_length, .print = print_bytes, .aborted = [] {
                  return --printer.pieces_until_abort < 0;
                }});
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_FALSE(recording().keyboard_lost);
    EXPECT_EQ(recording().cells, before);
    EXPECT_EQ(wi_active(), session.window);
    EXPECT_TRUE(wi_live());
    return screens.at(screens.size() - 2);  // F1 is two bytes
  }

  WorkDirectory directory;
  WatchedSession session;
};

}  // namespace marigold::inner::test
