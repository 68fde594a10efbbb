// Reads keys for the input fields, the selections and the viewer.
#pragma once

#include <cstdint>

#include "runtime/wi/terminal/terminal.h"

namespace marigold {

// Ctrl-Home, and Ctrl-F "g" on a plain terminal: go back to the very start.
inline constexpr int kKeyStart = 4;

// Waits for a key and returns its code (terminal.h, or kKeyStart) and its character. Unlike
// key_wait it returns Escape, which leaves a field. An ignored key puts the cursor back, and the
// function waits for the next one; a key with a hook calls the hook. Once the keyboard is lost
// every call returns Escape.
int field_key(std::uint8_t& character);

}  // namespace marigold
