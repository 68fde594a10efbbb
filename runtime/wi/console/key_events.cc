// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/key_events.h"

#include <algorithm>
#include <iterator>

namespace marigold::inner {
namespace {

// Virtual-key codes.
constexpr std::uint16_t kCancelCode = 0x03;  // Ctrl-Break, which is no key
constexpr std::uint16_t kBackspaceCode = 0x08;
constexpr std::uint16_t kAltCode = 0x12;
constexpr std::uint16_t kTwoCode = '2';
constexpr std::uint16_t kKeypadZeroCode = 0x60;
constexpr std::uint16_t kKeypadNineCode = 0x69;
constexpr std::uint16_t kF1Code = 0x70;
constexpr std::uint16_t kF12Code = 0x7B;
constexpr struct {
  std::uint16_t code;
  Key key;
} kCodes[] = {{0x09, kTab},  {0x21, kPageUp}, {0x22, kPageDown}, {0x23, kEnd},
              {0x24, kHome}, {0x25, kLeft},   {0x26, kUp},       {0x27, kRight},
              {0x28, kDown}, {0x2D, kInsert}, {0x2E, kDelete}};

constexpr std::uint8_t kBackspace = 8;
constexpr char16_t kFirstPrintable = 32;

int find_key(std::uint16_t code) {
  if (code >= kF1Code && code <= kF12Code) return kF1 + (code - kF1Code);
  const auto* row = std::ranges::find(kCodes, code, [](const auto& r) { return r.code; });
  return row != std::end(kCodes) ? row->key : kNoKey;
}

KeyPlace place_of(int key, const KeyEvent& event) {
  const bool is_elsewhere = key >= kTab || (event.modifiers & kEventEnhanced) != 0;
  return is_elsewhere ? KeyPlace::kMain : KeyPlace::kKeypad;
}

unsigned modifiers_of(const KeyEvent& event) {
  return ((event.modifiers & kEventShift) != 0 ? kShift : 0U) |
         ((event.modifiers & kEventControl) != 0 ? kControl : 0U);
}

bool is_with_alt_alone(const KeyEvent& event) {
  return (event.modifiers & kEventAlt) != 0 && (event.modifiers & kEventControl) == 0;
}

bool is_with_control_alone(const KeyEvent& event) {
  return (event.modifiers & kEventAlt) == 0 && (event.modifiers & kEventControl) != 0;
}

// Whether the key is a digit of Alt and a number. The character comes when Alt is released.
bool is_digit_with_alt(int key, const KeyEvent& event) {
  if (!is_with_alt_alone(event)) return false;
  if (key != kNoKey) return place_of(key, event) == KeyPlace::kKeypad;
  return event.key >= kKeypadZeroCode && event.key <= kKeypadNineCode;
}

}  // namespace

void KeyEventDecoder::feed(const KeyEvent& event) {
  if (!event.is_down) {
    if (event.key == kAltCode) type(event.character);
    return;
  }
  for (int times = std::max<int>(event.repeats, 1); times > 0; --times)
    press(event);
}

void KeyEventDecoder::press(const KeyEvent& event) {
  const int key = find_key(event.key);
  if (event.key == kCancelCode || is_digit_with_alt(key, event)) return;
  if (key != kNoKey) return put_key(key, modifiers_of(event), place_of(key, event));
  // With Control its character is 127, which is Escape to key_read.
  if (event.key == kBackspaceCode) return put(kBackspace);
  if (event.key == kTwoCode && event.character == 0 && is_with_control_alone(event))
    return put_zero();
  type(event.character);
}

void KeyEventDecoder::type(char16_t character) {
  if (character == 0) return;
  if (character < kFirstPrintable) return put(static_cast<std::uint8_t>(character));
  put_character(character);
}

}  // namespace marigold::inner
