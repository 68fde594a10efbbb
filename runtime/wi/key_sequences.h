// What a terminal sends for its keys, turned into the key bytes that key read expects: characters
// of code page 437, control characters, and two bytes for a key without a character, as the Windows
// console has them (see console.h). Reads nothing and has no clock: bytes in, bytes out.
//
// Modifiers: Alt (as a parameter or as an Escape in front) is ignored. Control gives the Windows
// console's second byte of its own, 'w' for Ctrl-Home. Shift does so for function keys and
// Shift-Tab and is ignored for the others. Characters that key read would take for something else
// do not come through: those that the code page has below 32, and the Greek alpha, whose byte is
// the prefix 224.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace marigold {

class KeyDecoder {
 public:
  // Characters beyond ASCII are UTF-8, or else ISO 8859-1.
  explicit KeyDecoder(bool utf8) : utf8_(utf8) {}

  // The next byte from the terminal. Adds at most three key bytes.
  void feed(std::uint8_t byte);
  // Within a sequence, or an Escape that may be the beginning of one.
  bool in_sequence() const { return state_ != State::kGround; }
  // Nothing followed in time: an Escape was the key, and what has begun otherwise is dropped.
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
    kString,           // Escape and one of "]P_^X": up to BEL or Escape and a backslash
    kStringEscape,
    kUtf8,
  };
  static constexpr std::size_t kMostNumbers = 4;

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
  void feed_utf8(std::uint8_t byte);
  void end_control_sequence(char final_byte);
  void interrupt(std::uint8_t byte);

  bool utf8_;
  State state_ = State::kGround;
  int escapes_ = 0;      // kEscape: 1 or 2
  char introducer_ = 0;  // the character behind the Escape while nothing followed it, else 0
  bool plain_ = true;    // the sequence has no private marker and no intermediate byte
  std::array<int, kMostNumbers> numbers_{};
  std::size_t number_count_ = 0;
  int missing_ = 0;  // bytes of a mouse report or a UTF-8 character
  char32_t character_ = 0;
  char32_t least_ = 0;  // the first character that takes as many bytes
  std::string keys_;
  std::size_t taken_ = 0;
};

}  // namespace marigold
