// The physical screen of 80 columns by 24 rows, and the keyboard: the lowest layer of the window
// system. Process-wide; columns and rows count from 1.
//
// The module has two modes and chooses one when a caller first asks for it: VT100, if the
// environment has COMFAXUSEVT100 with any value, writes escape sequences to standard output;
// console mode keeps the screen in memory and passes it to a Console.
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

// Resets the module's state: mode undecided, cursor at 1,1. Uses a test's console; null: the
// system's.
void terminal_reset(const Console* console);

// Whether the mode is VT100.
bool terminal_is_vt100();
// Loads the character tables and clears the screen.
void terminal_start();
// Clears the screen, leaves the cursor visible in the last row and gives the terminal back; only
// when the window system is active. A second call without output in between does nothing, so that
// lines stay that a program has written since.
void terminal_end();
// Only when the window system is active.
void terminal_clear();
// Brings the written cells to the screen.
void terminal_refresh();
// Shows the whole screen again on a terminal on which other programs have written; only when the
// window system is active.
void terminal_repaint();
// Sets the cursor; a place outside the screen moves onto it.
void terminal_set_cursor(int column, int row);
void terminal_show_cursor(bool visible);
void terminal_bell();
// Writes cells of a row record, from the given column on, at that row and column. Does not refresh.
void terminal_write_row(const ScreenRow& from, int row, int column, int count);

void row_fill(ScreenRow& row, std::uint8_t character, std::uint8_t attribute);
// Puts the line-drawing codes 0 to 10 into the caller's array.
void line_drawing_start(std::array<std::uint8_t, kLineDrawingCodes>& codes);
// Attribute bytes by attribute index: index bit 1 gives attribute 2, 2 gives 64, 4 gives 32, 8
// gives 16.
void attribute_table_start(std::array<std::uint8_t, 16>& table);

// ---- Keys
//
// At the end of the keyboard's input (Console::keyboard_lost) each read gives Escape, by which a
// program leaves its current work; no key is waiting then. A program that goes on reading ends
// after 100 of them, with the terminal given back, a line on standard error and exit status 1.

// Ctrl-R, which is kKeyIgnored without a character, always repaints the screen (terminal_repaint).

// Waits for a key. Returns its code and gives its character, or the second byte of a key without a
// character, or 0.
int key_read(std::uint8_t& character);
// Reads a key as key_read does if one is waiting, else returns kKeyEscape at once.
int key_poll(std::uint8_t& character);
// Gives and returns one byte, as it comes from the keyboard.
std::uint8_t key_raw(std::uint8_t& byte);
bool key_is_waiting();
// Whether the keyboard's input has ended: an Escape was then no key of the user's.
bool key_is_lost();
// Repeats key_read until the code is neither kKeyIgnored nor kKeyEscape. A key with a hook calls
// the hook first (debug displays and statistics of the layers above; null: nothing). While a hook
// runs its key has no hook.
void key_wait(std::uint8_t& character, int& code);

struct KeyHooks {
  void (*restore_cursor)() = nullptr;  // kKeyIgnored: puts the cursor back in its place
  void (*debug_fields)() = nullptr;    // Ctrl-D, with the screen debug flag
  void (*debug_list)() = nullptr;      // Ctrl-L, with the screen debug flag
  void (*statistics)() = nullptr;      // Ctrl-Y, with both debug settings for function keys
};
KeyHooks& key_hooks();
// Runs the hook of a key code, for other readers of keys. Returns false if the code has no hook, or
// the settings do not turn it on.
bool key_hooks_run(int code);
// Returns the byte after Ctrl-F of the key read last, 0 for any other key. key_read does not give
// this byte, and the input fields know one more such key.
std::uint8_t key_plain_terminal_byte();

}  // namespace marigold
