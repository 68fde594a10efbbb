// SPDX-License-Identifier: GPL-3.0-or-later
// Converts the Windows console's events of keys into the key bytes that key_read expects. Calls
// nothing of the system: the numbers are Windows' own, the code is the same everywhere.
//
// decoded_keys.h describes modifiers and characters that are dropped. Characters are the ones that
// the system has composed: of AltGr, of dead keys, pasted, or of Alt and a number on the keypad. A
// character beyond the first 65,536 comes as two events; the code page has no such character.
#pragma once

#include <cstdint>

#include "runtime/wi/console/decoded_keys.h"

namespace marigold::inner {

// Bits of the state of the control keys.
inline constexpr std::uint32_t kEventAlt = 0x3;      // right or left
inline constexpr std::uint32_t kEventControl = 0xC;  // right or left
inline constexpr std::uint32_t kEventShift = 0x10;
inline constexpr std::uint32_t kEventEnhanced = 0x100;  // a cursor key that is not on the keypad

struct KeyEvent {
  bool is_down = true;
  std::uint16_t repeats = 1;
  std::uint16_t key = 0;        // virtual-key code
  char16_t character = 0;       // 0: none
  std::uint32_t modifiers = 0;  // bits of the state of the control keys
};

class KeyEventDecoder : public DecodedKeys {
 public:
  // Takes the next event. Adds at most two key bytes for each repetition.
  void feed(const KeyEvent& event);

 private:
  void press(const KeyEvent& event);
  void type(char16_t character);
};

}  // namespace marigold::inner
