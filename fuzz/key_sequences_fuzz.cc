// SPDX-License-Identifier: GPL-3.0-or-later
// Input from a terminal, as any bytes.
//
// Promised: n bytes make at most three times as many key bytes, all of them whole keys: no prefix
// without its second byte; a pause ends every sequence, and the key after the pause is read as that
// key.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "fuzz/fuzz_input.h"
#include "runtime/wi/console/console.h"
#include "runtime/wi/console/key_sequences.h"

namespace marigold::inner::fuzz {
namespace {

constexpr std::size_t kMostKeyBytes = 3;

// Takes the waiting key bytes, which are whole keys.
std::string take_keys(KeyDecoder& decoder) {
  std::string keys;
  while (decoder.has_key()) {
    const std::uint8_t byte = decoder.take();
    keys += static_cast<char>(byte);
    if (byte != kKeyPrefixFunction && byte != kKeyPrefixCursor) continue;
    require(decoder.has_key());
    keys += static_cast<char>(decoder.take());
  }
  return keys;
}

void check_pause(KeyDecoder& decoder) {
  decoder.end_sequence();
  require(!decoder.in_sequence());
  take_keys(decoder);
  decoder.feed('x');
  require(take_keys(decoder) == "x");
}

void check_input(KeyCharacters characters, std::span<const std::uint8_t> bytes) {
  KeyDecoder decoder(characters);
  std::size_t room = 0;
  for (const std::uint8_t byte : bytes) {
    decoder.feed(byte);
    room += kMostKeyBytes;
    const std::size_t made = take_keys(decoder).size();
    require(made <= room);
    room -= made;
    KeyDecoder paused = decoder;
    check_pause(paused);
  }
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  marigold::inner::fuzz::check_input(static_cast<marigold::inner::KeyCharacters>(data[0] % 3),
                                     {data + 1, size - 1});
  return 0;
}
