// Up to 30 rectangular text windows over the screen of 80 by 24: the window manager `wi`.
//
// Process-wide. Windows have numbers from 1. Rows and columns of the operations count from 1 and
// inside the frame, except where a comment says otherwise. A program creates a window, then
// activates it to show it; the active window is the topmost one. Every operation first checks its
// window number: a number outside 0 to 30, or a free one, is system error 24.
//
// The range check: output at a place beyond the window's last row or column goes to its first one
// (the second one within a frame), and output longer than the row is cut. A one-line message of the
// user interface, with the operation's name in front, reports each correction, and the operation
// goes on. Rows and columns before the first one become the first one without a message.
//
// Text written into a window reaches the terminal when the window is activated or refreshed, or at
// once if the window is active and live; otherwise the screen stays as it is.
#pragma once

#include <cstdint>

#include "runtime/wi/console/screen_row.h"

namespace marigold {

inline constexpr int kWindows = 30;
inline constexpr int kNoWindow = 999;  // wi_active() without an active window

struct WindowPlace {
  int row;     // on the screen, from 1
  int column;  // on the screen, from 1
  int height;
  int width;
  bool no_frame;
};

// Resets the manager: all windows free, nothing shown, neither live nor flushing; the window system
// counts as active. Call it after `terminal_start`.
void wi_start();

// Takes the lowest free number. System error 25 outside the screen; 23 for the 31st window, with a
// line on standard error before it. Does not show the window. Windows under 3 rows or columns get
// no frame. A window with height or width 0 shows nothing.
void create_w(int& window, int top, int left, int height, int width, bool no_frame);
// Creates a window beside the active one, with the active window's corner moved by the offsets, but
// so that it ends in row 19 and column 80 at most and begins in row 1 and column 1 at least.
// Without an active window it begins at row 3, column 1.
void create_beside_w(int& window, int row_offset, int column_offset, int height, int width,
                     bool no_frame);
// Creates a window without a frame at row 21, column 2, 3 rows by 78 columns.
void create_message_w(int& window);
// Creates and shows a bright window without a frame in row 24, as wide as the text (cut to 78).
void create_status_w(int& window, const char* text);
// Creates two rows at the top with a centred title, shown below the window that was on top. Kinds:
// 0 no second line, 1 a horizontal line, 2 a row of "=".
void create_header_w(int& window, const char* text, int kind);
void p_destroy_kopfzeile(int window);

// Fills the inside of the frame with plain blanks, whatever the window's attribute.
void p_clear_w(int window);
// Fills a region with plain blanks. The place and the columns go through the range check; rows
// beyond the window are left out.
void rangecl_w(int window, int row, int column, int rows, int columns);
// Moves the region's rows one up or down and blanks the freed row. Leaves out without a message any
// part outside the window.
void p_scr_pos_w(int window, int row, int column, int rows, int columns, bool down);
void p_scroll_w(int window, bool down);
// Four characters, each "1" or anything else: second highlight, reverse, bright, fourth highlight.
void p_set_atr(int window, const char* attribute);
void p_Mset_atr(int window, int attribute_index);
// Prints with the range check; does nothing for an empty text or null.
void p_printstr(int window, int row, int column, const char* text);
void p_printchar(int window, int row, int column, char character);
// Prints copies of a line-drawing character, beginning one column left of the given one. Applies
// the range check to the given place; does nothing for a code outside 0 to 10.
void p_printsonder(int window, int row, int column, int code, int count);
// Prints cells 1 to count of a row record, with their own attributes, with the range check.
void p_print_tzeile(int window, int row, int column, int count, const ScreenRow& cells);
// Puts the window on top and writes all of it to the terminal; does nothing if it is on top.
void p_active_w(int window);
// Takes the window off the screen; the next one below becomes active. Does nothing if the window is
// not shown.
void p_de_active_w(int window);
void p_destroy_w(int window);
// Moves the window as far as the screen reaches.
void p_move_w(int window, int row_delta, int column_delta);
// Changes place and size: top and left from 0; height and width only if not -1; the result lies
// within the screen. Changes only the record: cells stay at their columns of the screen, and
// nothing is drawn. Does nothing for the active window.
void p_adjust_w(int window, int top, int left, int height, int width);
// Composes the window's rectangle from all windows and writes it.
void p_refreshany_w(int window);
void get_window_paras(int window, WindowPlace& place);
// Writes the dirty rows of the active window to the terminal, and refreshes it when live or
// flushing.
void wi_refresh_active();

// The live flag: text written into the active window goes to the terminal at once.
bool wi_live();
void wi_set_live(bool live);
// The flushing flag: destroying and activating end with a refresh of the terminal.
bool wi_flushing();
void wi_set_flushing(bool flushing);
// Returns the active window's number, or kNoWindow.
int wi_active();
// Places the terminal's cursor at a place of a window, or the nearest one, and remembers that
// place: after an ignored key (Ctrl-R) the cursor returns there.
void wi_set_cursor(int window, int row, int column);
void wi_restore_cursor();

}  // namespace marigold
