// Up to 30 rectangular text windows over the screen of 80 by 24: the window manager `wi`.
//
// Process-wide. Windows have numbers from 1. Rows and columns given to the operations count from 1
// and inside the frame, except where it says otherwise. A window is created, then shown by
// activating it; the active window is the topmost one. Every operation checks its window number
// first: outside 0 to 30, or a free one, is system error 24.
//
// The range check: what is printed at a place beyond the window's last row or column goes to its
// first one (the second one within a frame), and what is longer than the row is cut. Each is told
// by a one-line message of the user interface, the operation's name before them, and the operation
// goes on. Rows and columns before the first one become the first one without a message.
//
// Text written into a window reaches the terminal when the window is activated, refreshed or the
// active one and live; otherwise the screen stays as it is.
#pragma once

#include <cstdint>

#include "runtime/wi/console/screen_row.h"

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

// All windows free, nothing shown, neither live nor flushing; the window system counts as active.
// After `terminal_start`.
void wi_start();

// Takes the lowest free number. System error 25 outside the screen; 23 for the 31st window, with a
// line on standard error before it. Not shown yet. Windows under 3 rows or columns get no frame. A
// height or width of 0 makes a window that shows nothing.
void create_w(int& window, int top, int left, int height, int width, bool no_frame);
// Beside the active window, its corner moved by the offsets; pulled back so that it ends in row 19
// and column 80 at most and begins in row 1 and column 1 at least. With none active at row 3,
// column 1.
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

// Plain blanks within the frame, whatever the window's attribute.
void p_clear_w(int window);
// Plain blanks. The place and the columns are put through the range check; rows beyond the window
// are left out.
void rangecl_w(int window, int row, int column, int rows, int columns);
// Moves the region's rows one up or down and blanks the one that becomes free. What lies outside
// the window is left out without a message.
void p_scr_pos_w(int window, int row, int column, int rows, int columns, bool down);
void p_scroll_w(int window, bool down);
// Four characters, each "1" or anything else: second highlight, reverse, bright, fourth highlight.
void p_set_atr(int window, const char* attribute);
void p_Mset_atr(int window, int attribute_index);
// With the range check; nothing for an empty text or null.
void p_printstr(int window, int row, int column, const char* text);
void p_printchar(int window, int row, int column, char character);
// Copies of a line-drawing character, beginning one column left of the given one. With the range
// check of the given place; nothing for a code outside 0 to 10.
void p_printsonder(int window, int row, int column, int code, int count);
// Cells 1 to count of a row record, with their own attributes. With the range check.
void p_print_tzeile(int window, int row, int column, int count, const ScreenRow& cells);
// Puts the window on top and writes all of it to the terminal; nothing when it is there.
void p_active_w(int window);
// Takes the window off the screen; the next one below is the active one then. Nothing when it is
// not shown.
void p_de_active_w(int window);
void p_destroy_w(int window);
// As far as the screen reaches.
void p_move_w(int window, int row_delta, int column_delta);
// Top and left from 0; height and width only where not -1; what would not be on the screen is
// brought there. Only the record: cells stay at their columns of the screen, and nothing is drawn.
// Nothing for the active window.
void p_adjust_w(int window, int top, int left, int height, int width);
// Composes the window's rectangle from all windows and writes it.
void p_refreshany_w(int window);
void get_window_paras(int window, WindowPlace& place);
// Writes the dirty rows of the active window to the terminal, and refreshes it when live or
// flushing.
void wi_refresh_active();

// Text written into the active window goes to the terminal at once.
bool wi_live();
void wi_set_live(bool live);
// Destroying and activating end with a refresh of the terminal.
bool wi_flushing();
void wi_set_flushing(bool flushing);
// kNoWindow when there is none.
int wi_active();
// Places the terminal's cursor at a place of a window, or its nearest one, and remembers it: after
// an ignored key (Ctrl-R) the cursor is put back here.
void wi_set_cursor(int window, int row, int column);
void wi_restore_cursor();

}  // namespace marigold
