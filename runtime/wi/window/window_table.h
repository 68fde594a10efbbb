// The state of the window manager: window table, stacking list, composed screen. Only for the
// files of the window manager itself; programs use window.h.
//
// Rows and columns count from 0 here, and nothing is set but zeros before the start, so that the
// tables need no room in the program's file. Cells of a window lie at the columns of the screen
// that they are shown in, so a row can be handed to the terminal as it is.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "marigold/windows.h"
#include "runtime/wi/terminal/terminal.h"

namespace marigold {

inline constexpr std::uint8_t kAttributePlain = 0;

struct Rectangle {
  int top = 0;
  int left = 0;
  int height = 0;
  int width = 0;
};

// Always within the screen, `at`: creating, moving and adjusting see to it, and everything that
// copies cells relies on it. It may be empty (a status message without a text).
struct Window {
  bool used = false;
  Rectangle at;   // frame included
  int inset = 0;  // 1 with a frame: from the places that programs give to those in the window
  std::uint8_t attribute = kAttributePlain;
  std::array<ScreenRow, kScreenRows> rows;  // by row of the window
  std::array<bool, kScreenRows> dirty{};    // changed since the row was last written as a whole
};

struct WindowState {
  // By number. 0 is a valid number that is never given out.
  std::array<Window, kWindows + 1> windows;
  // Numbers of the shown windows, bottom first; the last one is the active one. A window stands
  // here once at most, so there is always room for one more.
  std::array<std::uint8_t, kWindows> stack{};
  int shown = 0;
  // What the terminal is to show, valid only in the rectangle that was composed last.
  std::array<ScreenRow, kScreenRows> composed;
  std::array<std::uint8_t, kLineDrawingCodes> line_drawing{};
  std::array<std::uint8_t, 16> attributes{};  // by attribute index
  bool live = false;
  bool flushing = false;
  int cursor_row = 0;
  int cursor_column = 0;
};

WindowState& window_state();

// The numbers of the shown windows, bottom first.
std::span<std::uint8_t> shown_windows();

// The window of that number. Outside 0 to 30, or free, is system error 24.
Window& checked_window(int window);

// The value, or the nearest one between the bounds; `low` when there is none between them.
int bring_between(long long value, int low, int high);

// Whether create_w has a number left.
bool wi_has_free_window();

void blank_cells(ScreenRow& row, int column, int count);

// After a change in the window: what the live flag promises.
void refresh_if_live(int window);

// All windows free, nothing shown, neither live nor flushing; the window system counts as active.
// After `terminal_start`.
void wi_start();

}  // namespace marigold
