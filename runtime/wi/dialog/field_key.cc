// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/windows.h"
#include "runtime/wi/terminal/terminal.h"

namespace marigold {

using namespace inner;

namespace {

// Second bytes of keys without a code of their own.
constexpr std::uint8_t kControlHome = 'w';
constexpr std::uint8_t kControlFStart = 'g';
constexpr std::uint8_t kShiftTab = 15;

}  // namespace

int field_key(std::uint8_t& character) {
  for (;;) {
    const int code = key_read(character);
    if (code == kKeyIgnored && character == kControlHome) return kKeyStart;
    if (code == kKeyIgnored && character == kShiftTab) return kKeyBackTab;
    if (code == kKeyEscape && key_plain_terminal_byte() == kControlFStart) return kKeyStart;
    if (!key_hooks_run(code) && code != kKeyIgnored) return code;
  }
}

}  // namespace marigold
