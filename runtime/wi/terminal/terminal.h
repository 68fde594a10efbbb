// The physical screen of 80 columns by 24 rows, and the keyboard: the lowest layer of the window
// system. Process-wide; columns and rows count from 1.
//
// Two modes, decided once per process when the mode is first asked for: VT100, when the environment
// has COMFAXUSEVT100 with whatever value, writes escape sequences to standard output; console mode
// keeps the screen in memory and hands it to a Console.
#pragma once

#include <array>
#include <cstdint>

#include "runtime/wi/console/console.h"
#include "runtime/wi/console/screen_row.h"

namespace marigold {

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

// Sets the module's state afresh: mode undecided, cursor at 1,1. With a console of a test's own;
// null: the system's.
void terminal_reset(const Console* console);

// True in VT100 mode.
bool terminal_is_vt100();
// Loads the character tables and clears the screen.
void terminal_start();
// Clears the screen, leaves the cursor visible in the last row and gives the terminal back; only
// when the window system is active. Nothing when that was done and nothing shown since: lines that
// a program writes when it has the terminal back stay.
void terminal_end();
// Only when the window system is active.
void terminal_clear();
// Brings what was written to the screen.
void terminal_refresh();
// Shows the whole screen again, on a terminal on which others have written; only when the window
// system is active.
void terminal_repaint();
// Brought onto the screen where it must be.
void terminal_set_cursor(int column, int row);
void terminal_show_cursor(bool visible);
void terminal_bell();
// Puts cells of a row record, from the given column on, at that row and column. Does not refresh.
void terminal_write_row(const ScreenRow& from, int row, int column, int count);

void row_fill(ScreenRow& row, std::uint8_t character, std::uint8_t attribute);
// Puts the line-drawing codes 0 to 10 into the caller's array.
void line_drawing_start(std::array<std::uint8_t, kLineDrawingCodes>& codes);
// Attribute bytes by attribute index: index bit 1 gives attribute 2, 2 gives 64, 4 gives 32, 8
// gives 16.
void attribute_table_start(std::array<std::uint8_t, 16>& table);

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
// One byte as it comes from the keyboard, also returned.
std::uint8_t key_raw(std::uint8_t& byte);
bool key_is_waiting();
// Whether the keyboard has come to its end: an Escape was no key of the user's.
bool key_is_lost();
// Repeats key_read until the code is neither kKeyIgnored nor kKeyEscape. Keys that have a hook call
// it first (debug displays and statistics of the layers above; null: nothing). While a hook runs
// its key has none.
void key_wait(std::uint8_t& character, int& code);

struct KeyHooks {
  void (*restore_cursor)() = nullptr;  // kKeyIgnored: puts the cursor back where it belongs
  void (*debug_fields)() = nullptr;    // Ctrl-D, with the screen debug flag
  void (*debug_list)() = nullptr;      // Ctrl-L, with the screen debug flag
  void (*statistics)() = nullptr;      // Ctrl-Y, with both debug settings for function keys
};
KeyHooks& key_hooks();
// Runs the hook of a key code, for readers of their own. False when it has none, or the settings
// do not turn it on.
bool key_hooks_run(int code);
// The byte behind Ctrl-F of the key that was read last, 0 for any other key: key_read does not tell
// it, and the input fields know one more of them.
std::uint8_t key_plain_terminal_byte();

}  // namespace marigold
