// SPDX-License-Identifier: GPL-3.0-or-later
// Key bytes on their way from a decoder to key_read (see console.h), and the bytes of each key: a
// key is the same to programs on a terminal of POSIX and on the Windows console.
//
// Modifiers: Alt has no effect. Control gives the second byte that the Windows console has for the
// key, 'w' for Ctrl-Home. Shift does so for function keys and Shift-Tab, and has no effect on other
// keys. Characters that key_read would mistake for something else are dropped: those that the code
// page has below 32, except for the section sign, and the Greek alpha, whose byte is the prefix 224.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace marigold::inner {

enum Key : int {
  kNoKey = -1,
  kUp,
  kDown,
  kRight,
  kLeft,
  kHome,
  kEnd,
  kPageUp,
  kPageDown,
  kInsert,
  kDelete,
  kTab,
  kF1,
  kF2,
  kF3,
  kF4,
  kF5,
  kF6,
  kF7,
  kF8,
  kF9,
  kF10,
  kF11,
  kF12,
};

// Modifiers of a key. Control outweighs Shift.
inline constexpr unsigned kShift = 1;
inline constexpr unsigned kControl = 4;

// The cursor keys of the Windows console's numeric keypad have the prefix of function keys, so that
// key_read ignores them.
enum class KeyPlace : std::uint8_t { kMain, kKeypad };

class DecodedKeys {
 public:
  bool has_key() const { return taken_ < keys_.size(); }
  // Returns the next key byte. Call it only if has_key().
  std::uint8_t take() { return static_cast<std::uint8_t>(keys_[taken_++]); }

 protected:
  DecodedKeys() = default;
  ~DecodedKeys() = default;
  DecodedKeys(const DecodedKeys&) = default;
  DecodedKeys& operator=(const DecodedKeys&) = default;
  DecodedKeys(DecodedKeys&&) = default;
  DecodedKeys& operator=(DecodedKeys&&) = default;

  void put(std::uint8_t key_byte);
  void put_key(int key, unsigned modifiers, KeyPlace place = KeyPlace::kMain);
  void put_character(char32_t character);
  // Ctrl-@, whose own byte 0 would be a prefix.
  void put_zero();

 private:
  std::string keys_;
  std::size_t taken_ = 0;
};

}  // namespace marigold::inner
