// SPDX-License-Identifier: GPL-3.0-or-later
// The state of the window manager: window table, stacking list, composed screen. Only the files of
// the window manager use this header; programs use marigold/windows.h.
//
// Rows and columns count from 0 here. Before the start all fields are zeros or defaults, so that
// the tables need no room in the program's file. Cells of a window lie at their columns of the
// screen, so the terminal can take a row as it is.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "marigold/windows.h"
#include "runtime/wi/terminal/terminal.h"

namespace marigold::inner {

inline constexpr std::uint8_t kAttributePlain = 0;

struct Rectangle {
  int top = 0;
  int left = 0;
  int height = 0;
  int width = 0;
};

// `at` is always within the screen: creating, moving and adjusting ensure that, and all code that
// copies cells relies on it. It may be empty (a status message without a text).
struct Window {
  bool used = false;
  Rectangle at;   // frame included
  int inset = 0;  // 1 with a frame: distance from a program's place to that in the window
  std::uint8_t attribute = kAttributePlain;
  std::array<ScreenRow, kScreenRows> rows;  // by row of the window
  std::array<bool, kScreenRows> dirty{};    // changed since the whole row was last written
};

struct WindowState {
  // By number. 0 is a valid number that no window gets.
  std::array<Window, kWindows + 1> windows;
  // Numbers of the shown windows, bottom first; the last one is the active one. Each window is in
  // the list once at most, so the list always has room for one more.
  std::array<std::uint8_t, kWindows> stack{};
  int shown = 0;
  // The wanted contents of the terminal, valid only in the rectangle composed last.
  std::array<ScreenRow, kScreenRows> composed;
  std::array<std::uint8_t, kLineDrawingCodes> line_drawing{};
  std::array<std::uint8_t, 16> attributes{};  // by attribute index
  bool live = false;
  bool flushing = false;
  int cursor_row = 0;
  int cursor_column = 0;
};

WindowState& window_state();

// Returns the numbers of the shown windows, bottom first.
std::span<std::uint8_t> shown_windows();

// Returns the window of that number. A number outside 0 to 30, or a free one, is system error 24.
Window& checked_window(int window);

// Returns the value, or the nearest one between the bounds; `low` if no value lies between them.
int bring_between(long long value, int low, int high);

// Whether create_w has a number left.
bool wi_has_free_window();

void blank_cells(ScreenRow& row, int column, int count);

// Does what the live flag promises after a change in the window.
void refresh_if_live(int window);

// All windows free, nothing shown, neither live nor flushing; the window system counts as active.
// After `terminal_start`.
void wi_start();

}  // namespace marigold::inner
