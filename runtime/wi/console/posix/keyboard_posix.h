// SPDX-License-Identifier: GPL-3.0-or-later
// Reads the keyboard of a POSIX terminal as key bytes, from standard input, which the console has
// put into raw mode. Process-wide.
//
// If nothing follows an Escape for 50 milliseconds, it is a key and not the beginning of a
// sequence. MARIGOLD_ESCAPE_MS sets another time (0 to 10000; any other value: 50). Slow or far
// lines may need more.
#pragma once

#include <cstdint>

#include "runtime/wi/console/key_sequences.h"

namespace marigold::inner {

inline constexpr int kEscapeMilliseconds = 50;

enum class KeyWait {
  kKey,    // keyboard_take has a byte
  kNone,   // no key is waiting; only if keyboard_wait does not wait
  kWoken,  // a signal, or the descriptor to be woken by has become readable
  kGone,   // the end of the input
};

// Drops an unfinished sequence and starts again.
void keyboard_start(KeyCharacters characters);
// Waits for a key, or only checks whether one is waiting. Ignores a negative descriptor.
KeyWait keyboard_wait(int wake_descriptor, bool waiting);
// Whether keyboard_take has a byte.
bool keyboard_has_byte();
// Whether there are keys, or bytes that the terminal has sent and that may become keys. Reads none.
bool keyboard_has_input();
// Returns the next byte. Call it after KeyWait::kKey.
std::uint8_t keyboard_take();

}  // namespace marigold::inner
