// The keyboard of a POSIX terminal: standard input, which someone else has put into raw mode, as
// key bytes. Process-wide.
//
// A lone Escape is told from the beginning of a sequence by nothing following it for 50
// milliseconds, or as many as MARIGOLD_ESCAPE_MS says (0 to 10000; anything else: 50). Slow or far
// lines may need more.
#pragma once

#include <cstdint>

#include "runtime/wi/console/key_sequences.h"

namespace marigold {

inline constexpr int kEscapeMilliseconds = 50;

enum class KeyWait {
  kKey,    // keyboard_take has a byte
  kNone,   // no key is waiting; only without waiting for one
  kWoken,  // a signal, or the descriptor to be woken by has become readable
  kGone,   // the end of the input
};

// Drops what was begun.
void keyboard_start(KeyCharacters characters);
// Waits for a key, or only looks whether one is waiting. A negative descriptor is left alone.
KeyWait keyboard_wait(int wake_descriptor, bool waiting);
// Whether a byte has been read that keyboard_take would give.
bool keyboard_has_byte();
// After KeyWait::kKey: the next byte.
std::uint8_t keyboard_take();

}  // namespace marigold
