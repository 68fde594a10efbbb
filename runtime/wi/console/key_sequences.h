// SPDX-License-Identifier: GPL-3.0-or-later
// Converts the bytes that a terminal sends for its keys into the key bytes that key_read expects:
// characters of code page 437, control characters, and two bytes for a key without a character, as
// on the Windows console (see console.h). Reads nothing and has no clock: bytes in, bytes out.
//
// Without a code page (KeyCharacters::kBytes) a character is the byte that the terminal sent; 224,
// otherwise a prefix, is doubled then.
//
// decoded_keys.h describes modifiers and characters that are dropped. Alt, which has no effect, is a
// parameter or an Escape in front.
//
// The decoder drops a terminal's report (Escape "]", "P" or "_", up to its end) as a whole. The
// same keys typed with Alt begin alike: bytes that are no report, or have no end in time, count as
// typed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "runtime/wi/console/decoded_keys.h"

namespace marigold::inner {

// How the terminal sends characters beyond ASCII.
enum class KeyCharacters { kUtf8, kLatin, kBytes };

class KeyDecoder : public DecodedKeys {
 public:
  explicit KeyDecoder(KeyCharacters characters) : characters_(characters) {}

  // Takes the next byte from the terminal. Adds at most three key bytes, and those of a string that
  // turns out to be typed.
  void feed(std::uint8_t byte);
  // Whether the decoder is within a sequence, or after an Escape that may begin one. A character of
  // several bytes does not count: its remaining bytes may come at any time.
  bool in_sequence() const { return state_ != State::kGround && state_ != State::kUtf8; }
  // Ends a sequence when nothing has followed in time: an Escape was a key, a string was typed, and
  // any other beginning is dropped.
  void end_sequence();

 private:
  enum class State {
    kGround,
    kEscape,
    kControlSequence,  // Escape, "["
    kSingleShift,      // Escape, "O"
    kLinuxFunction,    // Escape, "[["
    kMouse,            // Escape, "[M": three bytes follow
    kString,           // Escape and one of "]P_": up to Escape and a backslash, or BEL
    kStringEscape,
    kUtf8,
  };
  static constexpr std::size_t kMostNumbers = 4;
  static constexpr std::size_t kLongestString = 255;  // longer than any report

  void begin(State state, char introducer);
  bool take_parameter(std::uint8_t byte);
  unsigned modifiers(std::size_t place) const;
  void feed_ground(std::uint8_t byte);
  void feed_high(std::uint8_t byte);
  void feed_escape(std::uint8_t byte);
  void feed_control_sequence(std::uint8_t byte);
  void feed_single_shift(std::uint8_t byte);
  void feed_string(std::uint8_t byte);
  bool belongs_to_string(std::uint8_t byte) const;
  void type_string();
  void feed_utf8(std::uint8_t byte);
  void end_control_sequence(char final_byte);
  void interrupt(std::uint8_t byte);

  KeyCharacters characters_;
  State state_ = State::kGround;
  int escapes_ = 0;  // kEscape: 1 or 2
  // The character after the Escape: of a string, or while nothing has followed it, else 0.
  char introducer_ = 0;
  bool plain_ = true;  // the sequence has no private marker and no intermediate byte
  std::array<int, kMostNumbers> numbers_{};
  std::size_t number_count_ = 0;
  int missing_ = 0;  // bytes of a mouse report or a UTF-8 character
  char32_t character_ = 0;
  char32_t least_ = 0;  // the first character with this number of bytes
  std::string string_;  // kString: its bytes so far
};

}  // namespace marigold::inner
