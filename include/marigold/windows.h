// SPDX-License-Identifier: GPL-3.0-or-later
// Text windows over the screen of 80 columns by 24 rows, its keyboard, messages, selections and
// input fields.
//
// Process-wide, one thread; rows and columns count from 1. A program starts with runtime_start
// (application.h), which starts the window system, and ends with runtime_end. Characters are ISO
// 8859-1. Nothing throws.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// ---- Cells
//
// One row of the screen as the window system keeps it: 80 characters and, after them, their 80
// attributes. Characters are ISO 8859-1, or line-drawing codes if the attribute says so.

inline constexpr int kScreenColumns = 80;
inline constexpr int kScreenRows = 24;

// Attribute bits. The second and the fourth highlight do not change the look of a cell: programs
// set them and read them back.
inline constexpr std::uint8_t kAttributeLineDrawing = 1;
inline constexpr std::uint8_t kAttributeSecondHighlight = 2;
inline constexpr std::uint8_t kAttributeFourthHighlight = 16;
inline constexpr std::uint8_t kAttributeBright = 32;
inline constexpr std::uint8_t kAttributeReverse = 64;

struct ScreenRow {
  std::array<std::uint8_t, kScreenColumns> characters{};
  std::array<std::uint8_t, kScreenColumns> attributes{};
};
static_assert(sizeof(ScreenRow) == std::size_t{2} * kScreenColumns);

// Internal key codes. Codes 3 and 4 never come from key_read; the key reader of the input fields
// returns 3 for Shift-Tab and 4 for Ctrl-Home.
enum KeyCode : int {
  kKeyIgnored = 0,
  kKeyCharacter = 1,
  kKeyTab = 2,
  kKeyHelp = 5,
  kKeyBackspace = 6,
  kKeyDelete = 7,
  kKeyLeft = 8,
  kKeyRight = 9,
  kKeyUp = 10,
  kKeyDown = 11,
  kKeyInsert = 12,
  kKeyEnter = 13,
  kKeyF1 = 14,
  kKeyF2 = 15,
  kKeyF3 = 16,
  kKeyF4 = 17,
  kKeyF5 = 18,
  kKeyF6 = 19,
  kKeyF7 = 20,
  kKeyF8 = 21,
  kKeyStatistics = 22,  // Ctrl-Y
  kKeyEscape = 23,      // also: no key, and bytes without a meaning
  kKeyHome = 24,
  kKeyEnd = 25,
  kKeyPageDown = 26,
  kKeyPageUp = 27,
  kKeyDebugList = 28,    // Ctrl-L
  kKeyDebugFields = 29,  // Ctrl-D
  kKeyF9 = 30,
};

// Line-drawing codes: the characters of cells with kAttributeLineDrawing.
inline constexpr int kLineDrawingCodes = 11;
enum LineDrawing : std::uint8_t {
  kLineTopRight,
  kLineBottomRight,
  kLineTopLeft,
  kLineBottomLeft,
  kLineHorizontal,
  kLineVertical,
  kLineCross,
  kLineTeeDown,
  kLineTeeUp,
  kLineTeeRight,
  kLineTeeLeft,
};

void row_fill(ScreenRow& row, std::uint8_t character, std::uint8_t attribute);

// ---- Windows: up to 30 rectangles of text over the screen.
//
// Windows have numbers from 1. Rows and columns of the operations count from 1 and inside the
// frame, except where a comment says otherwise. A program creates a window, then activates it to
// show it; the active window is the topmost one. Every operation first checks its window number: a
// number outside 0 to 30, or a free one, is system error 24.
//
// The range check: output at a place beyond the window's last row or column goes to its first one
// (the second one within a frame), and output longer than the row is cut. A one-line message of the
// user interface, with the operation's name in front, reports each correction, and the operation
// goes on. Rows and columns before the first one become the first one without a message.
//
// Text written into a window reaches the terminal when the window is activated or refreshed, or at
// once if the window is active and live; otherwise the screen stays as it is.

inline constexpr int kWindows = 30;
inline constexpr int kNoWindow = 999;  // wi_active() without an active window

struct WindowPlace {
  int row;     // on the screen, from 1
  int column;  // on the screen, from 1
  int height;
  int width;
  bool no_frame;
};

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

// ---- The screen

// Brings the written cells to the screen. While keys wait that the program has not read, the user
// sees them up to a quarter of a second later, on a slow line when the line has sent what came
// before, and never sees screens that others have replaced meanwhile.
void terminal_refresh();
// Shows the whole screen again on a terminal on which other programs have written; only when the
// window system is active.
void terminal_repaint();
// Sets the cursor; a place outside the screen moves onto it.
void terminal_set_cursor(int column, int row);
void terminal_show_cursor(bool visible);
void terminal_bell();

// ---- Keys
//
// At the end of the keyboard's input each read gives Escape, by which a program leaves its current
// work; no key is waiting then. A program that goes on reading ends after 100 of them, with the
// terminal given back, a line on standard error and exit status 1.
//
// Ctrl-R, which is kKeyIgnored without a character, always repaints the screen (terminal_repaint).

// Waits for a key. Returns its code and gives its character, or the second byte of a key without a
// character, or 0.
int key_read(std::uint8_t& character);
// Reads a key as key_read does if one is waiting, else returns kKeyEscape at once.
int key_poll(std::uint8_t& character);
bool key_is_waiting();
// Whether the keyboard's input has ended: an Escape was then no key of the user's.
bool key_is_lost();
// Repeats key_read until the code is neither kKeyIgnored nor kKeyEscape. A key with a hook calls
// the hook first (debug displays and statistics of the layers above). While a hook runs its key has
// no hook.
void key_wait(std::uint8_t& character, int& code);

// Ctrl-Home, and Ctrl-F "g" on a plain terminal: back to the very start.
inline constexpr int kKeyStart = 4;

// Shift-Tab: back to the field before.
inline constexpr int kKeyBackTab = 3;

// Waits for a key. Returns its code (KeyCode, kKeyStart or kKeyBackTab) and gives its character.
// Unlike key_wait it returns Escape, which leaves a field. For an ignored key it puts the cursor
// back and reads again; a key with a hook calls the hook. At the end of the keyboard's input every
// call returns Escape.
int field_key(std::uint8_t& character);

// ---- Messages: in the last row of the screen, and in a box in its middle. Both functions wait for
// a key and leave the screen as it was. They show control characters as ".". Only while the window
// system is active.

// Shows one line of at most 80 characters over all windows; needs no window. The help key names the
// help page on the line ("_BLONF_"; "" or null for none); the function shows the key if the user
// asks for help.
void message_line(const char* text, const char* help_key);

// Shows a text of any length, broken between words into lines of at most 60 characters, without the
// lines after the fifteenth. Keeps the text's own line ends.
void warning_box(const char* text);

// Shows the help text of this help key: the text of the program's text database under the key
// ("_BLONF_"), or its texts under the key and "+" ("_BLONF_+", "_BLONF_+1" and so on), a line each.
// A text longer than the screen is shown in pages, until Escape. Reports that no help exists for a
// key without a text.
void help_show(const char* help_key);

// ---- A list of entries of which the user chooses one.

struct SelectionEntry {
  std::string_view text;
  bool can_be_chosen = true;  // headings and lines cannot
};

// The layout is a text of nine digits. First digit "1": a letter, large or small, moves to the next
// entry that begins with it. Second digit "1": the entries lie side by side in one row without a
// frame; otherwise one below the other in a frame, with the title above them. The other digits have
// no effect; programs may set them.
struct SelectionField {
  int row = 1;  // of the upper left corner on the screen; moved onto the screen if need be
  int column = 1;
  std::string_view title;
  std::span<const SelectionEntry> entries;
  std::string_view layout = "100000000";
  const char* help_key = "";
};

// Shows the entries, lets the user choose with the cursor keys, Home, End, the page keys and first
// letters, and removes the entries again. Returns the number of the entry chosen with Enter, from
// 1; 0 for Escape, and if no entry can be chosen. Scrolls if there are more entries than room.
int selection_field(const SelectionField& field);

// ---- Fields in which the user types a text or a number.
//
// A field lies in a window, at a row and column of it, in reverse, and shows `width` characters, at
// least one and at most a screen's width; a longer text scrolls. It shows control characters as "."
// and does not accept them. Letters, Insert, Delete, Backspace, Left, Right, Home and End edit. All
// other keys leave the field, and the function returns their code: Enter, Tab, Shift-Tab, Up, Down,
// the page and function keys with the new value; Escape and kKeyStart with the old value. Ctrl-A
// shows a message about the help key.

struct FieldPlace {
  int window = 0;
  int row = 1;
  int column = 1;
  int width = 1;
  const char* help_key = "";
};

// Edits a text with at least `least` and at most `most` characters. Outside these bounds the user
// gets a message with the bounds and stays in the field.
int text_field(const FieldPlace& place, std::string& text, std::size_t least, std::size_t most);

// Edits a number between two bounds, shown and read by a mask (core.h). The field is as wide as the
// mask.
int number_field(const FieldPlace& place, std::string_view mask, double& value, double least,
                 double most);

#pragma GCC visibility pop

}  // namespace marigold
// no second line, 1 a horizontal line, 2 a row of "=".
