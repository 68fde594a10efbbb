// The screen of 80 by 24 cells and the keyboard, as the terminal layer drives them in console mode.
// In VT100 mode only the keyboard, `take_keyboard` and `leave` are used.
//
// One record of functions for each kind of console: the Windows console (console_windows.cc), a
// POSIX terminal (console_posix.cc), and in the tests one that only records. Nothing here fails
// visibly: a console that cannot do what it is asked leaves the screen as it is.
#pragma once

#include <array>
#include <cstdint>

#include "marigold/windows.h"

namespace marigold {

// A cell: a character of code page 437 and its colours, both as the Windows console takes them.
struct ConsoleCell {
  std::uint8_t character = ' ';
  std::uint16_t colour = 7;
  bool operator==(const ConsoleCell&) const = default;
};

// The colours that occur: light on dark, the same bright, and both the other way round.
inline constexpr std::uint16_t kColourPlain = 7;
inline constexpr std::uint16_t kColourBright = 15;
inline constexpr std::uint16_t kColourReverse = 112;
inline constexpr std::uint16_t kColourReverseBright = 240;

// Row by row.
using ConsoleBuffer = std::array<ConsoleCell, std::size_t{kScreenColumns} * kScreenRows>;

// Bytes of a key that has no character: one of these two, and a second byte that names it.
inline constexpr std::uint8_t kKeyPrefixFunction = 0;  // F1 to F10: ';' to 'D'
inline constexpr std::uint8_t kKeyPrefixCursor = 224;  // Home 'G', Up 'H', ..., Delete 'S'

struct Console {
  // Takes hold of the screen and sizes it to 80 by 24, once, when console mode is decided.
  void (*size)();
  // Clears the whole screen at the start and at the end of full-screen work.
  void (*clear)();
  // Shows the cells.
  void (*write)(const ConsoleBuffer& cells);
  // Column and row from 1.
  void (*place_cursor)(int column, int row);
  void (*show_cursor)(bool visible);
  // Waits for a key and returns its next byte: a character of code page 437, a control character,
  // or one of the prefixes above. When there is no keyboard (any more) the program ends with a
  // message and exit status 1: callers repeat reads until a key has a meaning, and would for ever.
  std::uint8_t (*read_key)();
  // Whether read_key would return at once.
  bool (*key_waiting)();
  // Whether that was the last key: the keyboard has come to its end, and read_key returns Escape
  // without waiting from now on. Null: never.
  bool (*keyboard_lost)() = nullptr;
  // Gives the terminal back as it was found; also in VT100 mode. Any of the others takes hold of it
  // again. May be called again.
  void (*leave)();
  // VT100 mode: takes the keyboard before its first key is read, so that keys typed until then are
  // neither echoed nor edited. From now on a key byte above 127 is the byte that the terminal sent
  // (224 doubled) and none of code page 437. True when the terminal was taken (again): nothing is
  // known of what it shows. If that is noticed while keys are read, Ctrl-R is typed. Null: nothing
  // is to be done.
  bool (*take_keyboard)() = nullptr;
  // Shows what was written last on a screen of which nothing is known. Null: `write` does.
  void (*repaint)() = nullptr;
};

// The console of the system that this program runs on.
const Console& system_console();

}  // namespace marigold
