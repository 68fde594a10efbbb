// Keys as the input fields, the selections and the viewer take them.
#pragma once

#include <cstdint>

#include "runtime/wi/terminal/terminal.h"

namespace marigold {

// Ctrl-Home, and Ctrl-F "g" on a plain terminal: back to the very start.
inline constexpr int kKeyStart = 4;

// Waits for a key and returns its code (terminal.h, or kKeyStart) and its character. Unlike
// key_wait it returns Escape, which leaves a field. Ignored keys put the cursor back and are waited
// out; a key with a hook calls it. Once the keyboard is lost every call returns Escape.
int field_key(std::uint8_t& character);

}  // namespace marigold
