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
// attributes. Characters are ISO 8859-1, or line-drawing codes where the attribute says so.

inline constexpr int kScreenColumns = 80;
inline constexpr int kScreenRows = 24;

// Attribute bits. The two highlights without a look of their own are data that programs set and
// read back.
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

// Internal key codes. Codes 3 and 4 never come from the keyboard; the key reader of the input
// fields returns 4 for Ctrl-Home.
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
  kKeyF1 = 14,  // up to F8
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
// Windows have numbers from 1. Rows and columns given to the operations count from 1 and inside the
// frame, except where an operation says otherwise. A window is created, then shown by activating
// it; the active window is the topmost one. Every operation checks its window number first: outside
// 0 to 30, or a free one, is system error 24.
//
// The range check: what is printed at a place beyond the window's last row or column goes to its
// first one (the second one within a frame), and what is longer than the row is cut. The user
// interface shows a one-line message for each, with the name of the operation, and the operation
// goes on. Rows and columns before the first one become the first one without a message.
//
// Text written into a window reaches the terminal when the window is activated, refreshed or the
// active one and live; otherwise the screen stays as it is.

inline constexpr int kWindows = 30;
inline constexpr int kNoWindow = 999;  // the active window's number when there is none

struct WindowPlace {
  int row;     // on the screen, from 1
  int column;  // on the screen, from 1
  int height;
  int width;
  bool no_frame;
};

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

// ---- The screen

// Brings what was written to the screen.
void terminal_refresh();
// Shows the whole screen again, on a terminal on which others have written; only when the window
// system is active.
void terminal_repaint();
// Brought onto the screen where it must be.
void terminal_set_cursor(int column, int row);
void terminal_show_cursor(bool visible);
void terminal_bell();

// ---- Keys
//
// When the keyboard has come to its end (Console::keyboard_lost), it gives Escape, by which a
// program leaves what it is in; none is waiting then. One that goes on reading is ended after 100
// of them, with the terminal given back, a line on standard error and exit status 1.

// Ctrl-R, which is kKeyIgnored without a character, has the screen painted again (terminal_repaint)
// whoever reads it.

// Waits for a key: its code; its character, or the second byte of a key that has none, or 0.
int key_read(std::uint8_t& character);
// The same when a key is waiting, else kKeyEscape at once.
int key_poll(std::uint8_t& character);
bool key_is_waiting();
// Whether the keyboard has come to its end: an Escape was no key of the user's.
bool key_is_lost();
// Repeats key_read until the code is neither kKeyIgnored nor kKeyEscape. Keys that have a hook call
// it first (debug displays and statistics of the layers above; null: nothing). While a hook runs
// its key has none.
void key_wait(std::uint8_t& character, int& code);

// Ctrl-Home, and Ctrl-F "g" on a plain terminal: back to the very start.
inline constexpr int kKeyStart = 4;

// Waits for a key and returns its code (KeyCode, or kKeyStart) and its character. Unlike
// key_wait it returns Escape, which leaves a field. Ignored keys put the cursor back and are waited
// out; a key with a hook calls it. Once the keyboard is lost every call returns Escape.
int field_key(std::uint8_t& character);

// ---- Messages: in the last row of the screen, and in a box in its middle. Both wait for a key and
// leave the screen as it was. Control characters are shown as ".". Only while the window system is
// active.

// One line of at most 80 characters, over all windows; it needs none itself. The help key names the
// help page on it ("_BLONF_"; "" or null for none) and is told when the user asks for help.
void message_line(const char* text, const char* help_key);

// Text of any length, broken between words into lines of at most 60 characters; what goes beyond
// fifteen lines is left out. Line ends stand for themselves.
void warning_box(const char* text);

// Shows that there is no help for this key, as the help key of a field does.
void help_show(const char* help_key);

// ---- A list of entries of which the user chooses one.

struct SelectionEntry {
  std::string_view text;
  bool can_be_chosen = true;  // headings and lines cannot
};

// The layout is a text of nine digits. The first one "1": a letter, large or small,
// goes on to the next entry that begins with it. The second one "1": the entries stand side by side
// in one row without a frame; otherwise below each other in a frame, with the title above them. The
// others are kept for programs that set them, and mean nothing.
struct SelectionField {
  int row = 1;  // of the upper left corner on the screen; brought onto it where it must be
  int column = 1;
  std::string_view title;
  std::span<const SelectionEntry> entries;
  std::string_view layout = "100000000";
  const char* help_key = "";
};

// Shows the entries, lets the user choose with the cursor keys, Home, End, the page keys and first
// letters, and takes them away again. The number of the entry chosen with Enter, from 1; 0 for
// Escape, and when nothing can be chosen. More entries than there is room for are scrolled.
int selection_field(const SelectionField& field);

// ---- Fields in which the user types a text or a number.
//
// A field stands in a window, at a row and column of it, in reverse, and shows `width` characters,
// at least one and at most a screen's width; a longer text scrolls. Control characters in it are
// shown as "." and cannot be typed. Letters, Insert, Delete, Backspace, Left, Right, Home and End
// edit. The other keys leave the field, and the function returns their code: Enter, Tab, Up, Down,
// the page and function keys with the new value; Escape and kKeyStart with the value as it was.
// Ctrl-A shows the help key.

struct FieldPlace {
  int window = 0;
  int row = 1;
  int column = 1;
  int width = 1;
  const char* help_key = "";
};

// A text of at least and at most so many characters; the user is told the bounds and stays in the
// field until they hold.
int text_field(const FieldPlace& place, std::string& text, std::size_t least, std::size_t most);

// A number that is shown and read by a mask (core.h), between two bounds. The field is as wide
// as the mask.
int number_field(const FieldPlace& place, std::string_view mask, double& value, double least,
                 double most);

#pragma GCC visibility pop

}  // namespace marigold
