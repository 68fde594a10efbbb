// SPDX-License-Identifier: GPL-3.0-or-later
// The physical screen of 80 columns by 24 rows, and the keyboard: the lowest layer of the window
// system. Process-wide; columns and rows count from 1.
//
// The module has two modes and chooses one when a caller first asks for it: VT100, if the
// environment has COMFAXUSEVT100 with any value, writes escape sequences to standard output;
// console mode keeps the screen in memory and passes it to a Console.
#pragma once

#include <array>
#include <cstdint>

#include "marigold/windows.h"  // IWYU pragma: export
#include "runtime/wi/console/console.h"

namespace marigold::inner {

// Sets the module's state afresh: mode undecided, cursor at 1,1. With a console of a test's own;
// null: the system's.
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
// Puts cells of a row record, from the given column on, at that row and column. Does not refresh.
void terminal_write_row(const ScreenRow& from, int row, int column, int count);

// Puts the line-drawing codes 0 to 10 into the caller's array.
void line_drawing_start(std::array<std::uint8_t, kLineDrawingCodes>& codes);
// Attribute bytes by attribute index: index bit 1 gives attribute 2, 2 gives 64, 4 gives 32, 8
// gives 16.
void attribute_table_start(std::array<std::uint8_t, 16>& table);

// One byte as it comes from the keyboard, also returned.
std::uint8_t key_raw(std::uint8_t& byte);

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

}  // namespace marigold::inner
