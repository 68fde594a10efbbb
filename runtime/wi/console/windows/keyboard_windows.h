// SPDX-License-Identifier: GPL-3.0-or-later
// Reads the keyboard of the Windows console as key bytes, from the events of its input. Events of
// the mouse and of the focus are dropped. Process-wide.
#pragma once

#include <cstdint>

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

enum class KeyWait {
  kKey,      // keyboard_take has a byte
  kNone,     // no key is waiting; only if keyboard_wait does not wait
  kResized,  // the screen buffer has another size
  kWoken,    // the handle to be woken by was signalled
  kGone,     // the console has gone away
};

// Waits for a key, or only checks whether one is waiting.
KeyWait keyboard_wait(HANDLE input, HANDLE wake, bool waiting);
// Whether keyboard_take has a byte.
bool keyboard_has_byte();
// Whether there are keys, or events that may become keys. Reads none.
bool keyboard_has_input(HANDLE input);
// Returns the next byte. Call it after KeyWait::kKey.
std::uint8_t keyboard_take();

}  // namespace marigold::inner
