// Up to 30 rectangular text windows over the screen of 80 by 24: the window manager `wi`.
//
// Process-wide. Windows have numbers from 1. Rows and columns given to the operations count from 1
// and inside the frame, except where it says otherwise. A window is created, then shown by
// activating it; the active window is the topmost one. Every operation checks its window number
// first: outside 0 to 30, or a free one, is system error 24.
#pragma once

#include <cstdint>

#include "runtime/wi/screen_row.h"

namespace marigold {

inline constexpr int kWindows = 30;
inline constexpr int kNoWindow = 999;  // the active window's number when there is none

struct WindowPlace {
  int row;     // on the screen, from 1
  int column;  // on the screen, from 1
  int height;
  int width;
  bool no_frame;
};

// All windows free, nothing shown. With `terminal_start` before it.
void wi_start();

// Takes the lowest free number. System error 25 outside the screen; 23 for the 31st window. Not
// shown yet. Windows under 3 rows or columns get no frame.
void create_w(int& window, int top, int left, int height, int width, bool no_frame);
// Beside the active window, pulled back onto the screen; with none at row 3, column 1.
void create_beside_w(int& window, int row_offset, int column_offset, int height, int width,
                     bool no_frame);
// Without a frame at row 21, column 2, 3 rows by 78 columns.
void create_message_w(int& window);
// Without a frame in row 24, as wide as the text (cut to 78), bright, shown.
void create_status_w(int& window, const char* text);
// Two rows at the top with a centred title, shown below the window that was on top. Kinds: 0 no
// second line, 1 a horizontal line, 2 a row of "=".
void create_header_w(int& window, const char* text, int kind);
void p_destroy_kopfzeile(int window);

void p_clear_w(int window);
void rangecl_w(int window, int row, int column, int rows, int columns);
void p_scr_pos_w(int window, int row, int column, int rows, int columns, bool down);
void p_scroll_w(int window, bool down);
// Four characters, each "1" or anything else: second highlight, reverse, bright, fourth highlight.
void p_set_atr(int window, const char* attribute);
void p_Mset_atr(int window, int attribute_index);
void p_printstr(int window, int row, int column, const char* text);
void p_printchar(int window, int row, int column, char character);
// Copies of a line-drawing character, beginning one column left of the given one.
void p_printsonder(int window, int row, int column, int code, int count);
// Cells 1 to count of a row record, with their own attributes.
void p_print_tzeile(int window, int row, int column, int count, const ScreenRow& cells);
void p_active_w(int window);
void p_de_active_w(int window);
void p_destroy_w(int window);
void p_move_w(int window, int row_delta, int column_delta);
// Top and left from 0; height and width only where not -1.
void p_adjust_w(int window, int top, int left, int height, int width);
void p_refreshany_w(int window);
void get_window_paras(int window, WindowPlace& place);
// Writes the dirty rows of the active window to the terminal.
void wi_refresh_active();

// Text written into the active window goes to the terminal at once.
bool wi_live();
void wi_set_live(bool live);
// Destroying and activating end with a refresh of the terminal.
bool wi_flushing();
void wi_set_flushing(bool flushing);
// kNoWindow when there is none.
int wi_active();
// Places the terminal's cursor at a place of a window, and remembers it: after an ignored key
// (Ctrl-R) the cursor is put back here.
void wi_set_cursor(int window, int row, int column);
void wi_restore_cursor();

}  // namespace marigold
