// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/key_sequences.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "runtime/wi/console/console.h"
#include "runtime/wi/console/key_tables.h"

namespace marigold::inner {
namespace {

constexpr std::uint8_t kEscapeByte = 27;
constexpr std::uint8_t kFirstPrintable = 32;
constexpr std::uint8_t kDeleteByte = 127;  // the byte of most terminals for Backspace
constexpr std::uint8_t kBackspace = 8;
constexpr std::uint8_t kBell = 7;
constexpr int kLargestNumber = 9999;

constexpr int kLargestModifiers = 16;  // as the parameter of a sequence: 1 more than the bits

int find_letter(char letter) {
  const auto* row = std::ranges::find(kLetters, letter, [](const auto& r) { return r.letter; });
  return row != std::end(kLetters) ? row->key : kNoKey;
}

int find_number(int number) {
  const auto* row = std::ranges::find(kNumbers, number, [](const auto& r) { return r.number; });
  return row != std::end(kNumbers) ? row->key : kNoKey;
}

const TerminalReport* find_report(char introducer) {
  const auto* row = std::ranges::find(kReports, introducer, &TerminalReport::introducer);
  return row != std::end(kReports) ? row : nullptr;
}

bool is_lower_arrow(char letter) {
  return letter >= 'a' && letter <= 'd';
}

}  // namespace

void KeyDecoder::begin(State state, char introducer) {
  state_ = state;
  introducer_ = introducer;
  plain_ = true;
  numbers_ = {};
  number_count_ = 0;
}

void KeyDecoder::feed(std::uint8_t byte) {
  switch (state_) {
    case State::kGround:
      return feed_ground(byte);
    case State::kEscape:
      return feed_escape(byte);
    case State::kControlSequence:
      return feed_control_sequence(byte);
    case State::kSingleShift:
      return feed_single_shift(byte);
    case State::kLinuxFunction:
      state_ = State::kGround;
      if (byte >= 'A' && byte <= 'E') return put_key(kF1 + (byte - 'A'), 0);
      if (byte < kFirstPrintable) interrupt(byte);
      return;
    case State::kMouse:
      if (--missing_ == 0) state_ = State::kGround;
      return;
    case State::kString:
    case State::kStringEscape:
      return feed_string(byte);
    case State::kUtf8:
      return feed_utf8(byte);
  }
}

void KeyDecoder::end_sequence() {
  if (state_ == State::kString || state_ == State::kStringEscape) type_string();
  if (!in_sequence()) return;
  const State state = state_;
  state_ = State::kGround;
  if (state == State::kEscape) {
    for (; escapes_ > 0; --escapes_)
      put(kEscapeByte);
  } else if (introducer_ != 0) {
    put(static_cast<std::uint8_t>(introducer_));  // that character with Alt
  }
  introducer_ = 0;
}

// Drops the sequence and takes the byte as the beginning of another key.
void KeyDecoder::interrupt(std::uint8_t byte) {
  begin(State::kGround, 0);
  feed_ground(byte);
}

void KeyDecoder::feed_ground(std::uint8_t byte) {
  if (byte == kEscapeByte) {
    begin(State::kEscape, 0);
    escapes_ = 1;
  } else if (byte == 0) {
    put_zero();
  } else if (byte == kDeleteByte) {
    put(kBackspace);
  } else if (byte < kDeleteByte) {
    put(byte);
  } else {
    feed_high(byte);
  }
}

void KeyDecoder::feed_high(std::uint8_t byte) {
  constexpr std::uint8_t kControlSequenceIntroducer = 0x9B;
  constexpr std::uint8_t kSingleShiftThree = 0x8F;
  if (characters_ == KeyCharacters::kBytes) {
    if (byte == kKeyPrefixCursor) put(byte);
    return put(byte);
  }
  if (characters_ == KeyCharacters::kLatin) {
    if (byte == kControlSequenceIntroducer) return begin(State::kControlSequence, 0);
    if (byte == kSingleShiftThree) return begin(State::kSingleShift, 0);
    return put_character(byte);
  }
  if (byte < 0xC2U || byte > 0xF4U) return;
  begin(State::kUtf8, 0);
  missing_ = byte < 0xE0U ? 1 : byte < 0xF0U ? 2 : 3;
  character_ = byte & (0x3FU >> static_cast<unsigned>(missing_));
  least_ = missing_ == 1 ? 0x80U : missing_ == 2 ? 0x800U : 0x10000U;
}

void KeyDecoder::feed_utf8(std::uint8_t byte) {
  if ((byte & 0xC0U) != 0x80U) return interrupt(byte);
  character_ = character_ << 6U | (byte & 0x3FU);
  if (--missing_ > 0) return;
  state_ = State::kGround;
  if (character_ >= least_) put_character(character_);
}

// A second Escape may belong to a key with Alt, so both stay until the next byte decides.
void KeyDecoder::feed_escape(std::uint8_t byte) {
  if (byte == kEscapeByte) {
    if (escapes_ == 2) put(kEscapeByte);
    escapes_ = 2;
    return;
  }
  if (byte == '[') return begin(State::kControlSequence, '[');
  if (byte == 'O') return begin(State::kSingleShift, 'O');
  if (escapes_ == 2) put(kEscapeByte);
  if (find_report(static_cast<char>(byte)) == nullptr) return interrupt(byte);
  begin(State::kString, static_cast<char>(byte));
}

// Returns true for a byte before the final one.
bool KeyDecoder::take_parameter(std::uint8_t byte) {
  if (byte < kFirstPrintable || byte >= '@') return false;
  if (number_count_ == 0) number_count_ = 1;
  int& number = numbers_[std::min(number_count_, kMostNumbers) - 1];
  if (byte >= '0' && byte <= '9') {
    number = std::min(number * 10 + (byte - '0'), kLargestNumber);
  } else if (byte == ';') {
    number_count_ = std::min(number_count_ + 1, kMostNumbers);
  } else {
    plain_ = false;
  }
  return true;
}

// Returns the modifiers of the parameter at a place; none without such a parameter.
unsigned KeyDecoder::modifiers(std::size_t place) const {
  if (place >= number_count_) return 0;
  const int value = numbers_[place];
  return value >= 1 && value <= kLargestModifiers ? static_cast<unsigned>(value - 1) : 0;
}

void KeyDecoder::feed_control_sequence(std::uint8_t byte) {
  const bool first = introducer_ != 0;
  introducer_ = 0;
  if (byte < kFirstPrintable || byte >= kDeleteByte) return interrupt(byte);
  if (first && byte == '[') return begin(State::kLinuxFunction, 0);
  if (first && byte == 'M') {
    begin(State::kMouse, 0);
    missing_ = 3;
    return;
  }
  // One family of terminals ends a sequence for Shift with a dollar, against the rules for final
  // bytes.
  const bool shifted = byte == '$' && plain_ && number_count_ == 1;
  if (shifted && find_number(numbers_[0]) != kNoKey) return end_control_sequence('$');
  if (!take_parameter(byte)) end_control_sequence(static_cast<char>(byte));
}

void KeyDecoder::end_control_sequence(char final_byte) {
  state_ = State::kGround;
  if (!plain_) return;
  switch (final_byte) {
    case '~':
      return put_key(find_number(numbers_[0]), modifiers(1));
    case '$':
      return put_key(find_number(numbers_[0]), kShift);
    case '^':
      return put_key(find_number(numbers_[0]), kControl);
    case '@':
      return put_key(find_number(numbers_[0]), kControl | kShift);
    case 'Z':
      return put_key(kTab, kShift);
    default:
      break;
  }
  if (is_lower_arrow(final_byte)) return put_key(kUp + (final_byte - 'a'), kShift);
  put_key(find_letter(final_byte), modifiers(number_count_ > 1 ? 1 : 0));
}

void KeyDecoder::feed_single_shift(std::uint8_t byte) {
  introducer_ = 0;
  if (byte < kFirstPrintable || byte >= kDeleteByte) return interrupt(byte);
  if (byte != ' ' && take_parameter(byte)) return;
  state_ = State::kGround;
  if (!plain_) return;
  const char letter = static_cast<char>(byte);
  const auto* row = std::ranges::find(kKeypad, letter, [](const auto& r) { return r.letter; });
  if (row != std::end(kKeypad)) return put(static_cast<std::uint8_t>(row->character));
  if (is_lower_arrow(letter)) return put_key(kUp + (letter - 'a'), kControl);
  if (letter != 'Z') put_key(find_letter(letter), modifiers(number_count_ > 1 ? 1 : 0));
}

// Whether a report can continue with this byte.
bool KeyDecoder::belongs_to_string(std::uint8_t byte) const {
  if (state_ == State::kStringEscape || string_.size() == kLongestString) return false;
  if (byte < kFirstPrintable || byte >= kDeleteByte) return false;
  return !string_.empty() ||
         find_report(introducer_)->first_characters.find(static_cast<char>(byte)) !=
             std::string_view::npos;
}

void KeyDecoder::feed_string(std::uint8_t byte) {
  if (belongs_to_string(byte)) {
    string_ += static_cast<char>(byte);
    return;
  }
  const bool by_bell = state_ == State::kString && introducer_ == ']' && byte == kBell;
  const bool by_terminator = state_ == State::kStringEscape && byte == '\\';
  if (!string_.empty() && (by_bell || by_terminator)) {
    string_.clear();
    return begin(State::kGround, 0);
  }
  if (state_ == State::kString && byte == kEscapeByte) {
    state_ = State::kStringEscape;
    return;
  }
  type_string();
  feed(byte);
}

// Gives the string as typed keys: the first was a key with Alt.
void KeyDecoder::type_string() {
  const std::string typed = std::exchange(string_, {});
  const char key = introducer_;
  const bool with_escape = state_ == State::kStringEscape;
  begin(State::kGround, 0);
  put(static_cast<std::uint8_t>(key));
  for (const char character : typed)
    put(static_cast<std::uint8_t>(character));
  if (with_escape) feed_ground(kEscapeByte);
}

}  // namespace marigold::inner
