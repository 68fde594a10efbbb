// What a terminal sends for its keys, turned into the key bytes that key read expects: characters
// of code page 437, control characters, and two bytes for a key without a character, as the Windows
// console has them (see console.h). Reads nothing and has no clock: bytes in, bytes out.
//
// Without a code page between (KeyCharacters::kBytes) a character is the byte that the terminal
// sent; 224, which would be a prefix, is doubled then.
//
// Modifiers: Alt (as a parameter or as an Escape in front) is ignored. Control gives the Windows
// console's second byte of its own, 'w' for Ctrl-Home. Shift does so for function keys and
// Shift-Tab and is ignored for the others. Characters that key read would take for something else
// do not come through: those that the code page has below 32, but for the section sign, and the
// Greek alpha, whose byte is the prefix 224.
//
// A terminal's report (Escape "]", "P" or "_", up to its end) is swallowed whole. The same keys
// typed with Alt begin alike: what is no report, or does not come to its end in time, was typed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace marigold {

// How the terminal sends characters beyond ASCII.
enum class KeyCharacters { kUtf8, kLatin, kBytes };

class KeyDecoder {
 public:
  explicit KeyDecoder(KeyCharacters characters) : characters_(characters) {}

  // The next byte from the terminal. Adds at most three key bytes, and those of a string that
  // turns out to be typed.
  void feed(std::uint8_t byte);
  // Within a sequence, or an Escape that may be the beginning of one. A character of several bytes
  // is none: the rest of it can only be the rest, however late.
  bool in_sequence() const { return state_ != State::kGround && state_ != State::kUtf8; }
  // Nothing followed in time: an Escape was the key, a string was typed, and what has begun
  // otherwise is dropped.
  void end_sequence();

  bool has_key() const { return taken_ < keys_.size(); }
  // The next key byte; only when there is one.
  std::uint8_t take();

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

  void put(std::uint8_t key_byte);
  void put_key(int key, unsigned modifiers);
  void put_character(char32_t character);
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
  // The character behind the Escape: of a string, or while nothing followed it, else 0.
  char introducer_ = 0;
  bool plain_ = true;  // the sequence has no private marker and no intermediate byte
  std::array<int, kMostNumbers> numbers_{};
  std::size_t number_count_ = 0;
  int missing_ = 0;  // bytes of a mouse report or a UTF-8 character
  char32_t character_ = 0;
  char32_t least_ = 0;  // the first character that takes as many bytes
  std::string string_;  // kString: its bytes so far
  std::string keys_;
  std::size_t taken_ = 0;
};

}  // namespace marigold
