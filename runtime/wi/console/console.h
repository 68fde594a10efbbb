// SPDX-License-Identifier: GPL-3.0-or-later
// The screen of 80 by 24 cells and the keyboard, as the terminal layer drives them in console mode.
// VT100 mode uses only the keyboard, `take_keyboard` and `leave`.
//
// One record of functions for each kind of console: the Windows console (console_windows.cc), a
// POSIX terminal (console_posix.cc), and in the tests one that only records. No function fails
// visibly: a console that cannot do a call leaves the screen as it is.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "marigold/windows.h"
#include "runtime/wi/console/late_screen.h"

namespace marigold::inner {

// A cell: a character of code page 437 and its colours, both in the form of the Windows console.
struct ConsoleCell {
  std::uint8_t character = ' ';
  std::uint16_t colour = 7;
  bool operator==(const ConsoleCell&) const = default;
};

// The colours in use: light on dark, the same bright, and both reversed.
inline constexpr std::uint16_t kColourPlain = 7;
inline constexpr std::uint16_t kColourBright = 15;
inline constexpr std::uint16_t kColourReverse = 112;
inline constexpr std::uint16_t kColourReverseBright = 240;

// Row by row.
using ConsoleBuffer = std::array<ConsoleCell, std::size_t{kScreenColumns} * kScreenRows>;

// First byte of a key without a character; a second byte names the key.
inline constexpr std::uint8_t kKeyPrefixFunction = 0;  // F1 to F10: ';' to 'D'
inline constexpr std::uint8_t kKeyPrefixCursor = 224;  // Home 'G', Up 'H', ..., Delete 'S'

struct Console {
  // Takes the screen and sizes it to 80 by 24. Called once, when console mode is chosen.
  void (*size)();
  // Clears the whole screen at the start and at the end of full-screen work.
  void (*clear)();
  // Shows the cells; the console may let them be late (late_screen.h).
  void (*write)(const ConsoleBuffer& cells);
  // Column and row from 1.
  void (*place_cursor)(int column, int row);
  void (*show_cursor)(bool visible);
  // Waits for a key and returns its next byte: a character of code page 437, a control character,
  // or one of the prefixes above. Without a keyboard the program ends with a message and exit
  // status 1, because callers repeat reads until a key has a meaning, and would do so for ever.
  std::uint8_t (*read_key)();
  // Whether read_key would return at once.
  bool (*key_waiting)();
  // Whether the keyboard's input has ended; read_key then returns Escape without waiting. Null:
  // never.
  bool (*keyboard_lost)() = nullptr;
  // Gives the terminal back as it was found; also in VT100 mode. Any other function takes the
  // terminal again. May be called again.
  void (*leave)();
  // VT100 mode: takes the keyboard before the first key is read, so that the terminal neither
  // echoes nor edits keys typed until then. From then on a key byte above 127 is the byte that a
  // POSIX terminal sent (224 doubled) and not one of code page 437. Returns true if it took the
  // terminal (again): the contents of the screen are then unknown. If that happens while keys are
  // read, the console gives Ctrl-R as a key. Null: nothing to do.
  bool (*take_keyboard)() = nullptr;
  // VT100 mode: sends bytes to standard output. Null: as they are.
  void (*send)(std::string_view bytes) = nullptr;
  // VT100 mode: the line by which the screen may be late. Null: it never is.
  const ScreenLine* line = nullptr;
  // Shows the cells written last on a screen with unknown contents. Null: `write` does it.
  void (*repaint)() = nullptr;
};

// Returns the console of the operating system.
const Console& system_console();

}  // namespace marigold::inner
