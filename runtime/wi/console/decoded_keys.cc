// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/decoded_keys.h"

#include <iterator>

#include "runtime/wi/console/code_page_437.h"
#include "runtime/wi/console/console.h"

namespace marigold::inner {
namespace {

constexpr std::uint8_t kFirstPrintable = 32;
// Every German keyboard has the section sign, and no control character has its byte.
constexpr std::uint8_t kSectionSign = 21;

// The bytes of a key in the Windows console, in the order of Key.
struct KeyBytes {
  std::uint8_t prefix;  // kNoPrefix: the plain key is one byte, the others have prefix 0
  std::uint8_t plain;
  std::uint8_t shift;
  std::uint8_t control;
};
constexpr std::uint8_t kNoPrefix = 1;
// clang-format off
constexpr KeyBytes kKeyBytes[] = {
    {224, 'H', 'H', 141}, {224, 'P', 'P', 145}, {224, 'M', 'M', 't'}, {224, 'K', 'K', 's'},
    {224, 'G', 'G', 'w'}, {224, 'O', 'O', 'u'}, {224, 'I', 'I', 134}, {224, 'Q', 'Q', 'v'},
    {224, 'R', 'R', 146}, {224, 'S', 'S', 147}, {kNoPrefix, 9, 15, 148},
    {0, ';', 'T', '^'}, {0, '<', 'U', '_'}, {0, '=', 'V', '`'}, {0, '>', 'W', 'a'}, {0, '?', 'X', 'b'},
    {0, '@', 'Y', 'c'}, {0, 'A', 'Z', 'd'}, {0, 'B', '[', 'e'}, {0, 'C', '\\', 'f'}, {0, 'D', ']', 'g'},
    {224, 133, 135, 137}, {224, 134, 136, 138},
};
// clang-format on
static_assert(std::size(kKeyBytes) == kF12 + 1);

}  // namespace

void DecodedKeys::put(std::uint8_t key_byte) {
  if (taken_ == keys_.size()) {
    keys_.clear();
    taken_ = 0;
  }
  keys_ += static_cast<char>(key_byte);
}

void DecodedKeys::put_key(int key, unsigned modifiers, KeyPlace place) {
  if (key == kNoKey) return;
  const KeyBytes& bytes = kKeyBytes[key];
  const bool modified = (modifiers & (kShift | kControl)) != 0;
  if (bytes.prefix != kNoPrefix) {
    put(place == KeyPlace::kKeypad ? kKeyPrefixFunction : bytes.prefix);
  } else if (modified) {
    put(kKeyPrefixFunction);
  }
  put((modifiers & kControl) != 0 ? bytes.control
      : (modifiers & kShift) != 0 ? bytes.shift
                                  : bytes.plain);
}

void DecodedKeys::put_character(char32_t character) {
  const std::uint8_t byte = code_page_437_byte(character);
  if ((byte >= kFirstPrintable && byte != kKeyPrefixCursor) || byte == kSectionSign) put(byte);
}

void DecodedKeys::put_zero() {
  put(kKeyPrefixFunction);
  put(3);
}

}  // namespace marigold::inner
