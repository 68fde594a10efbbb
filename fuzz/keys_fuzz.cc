// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as keys. The first byte of an input chooses how often each way of reading a key is
// used, the other bytes are typed; after them the keyboard types Enter without end.
//
// Promised: every key has one of the keyboard's codes; a read takes no more bytes than it needs, so
// no wait goes beyond the first Enter; a poll of a silent keyboard takes no byte.

#include <array>
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_input.h"
#include "runtime/wi/terminal/terminal.h"

namespace marigold::inner::fuzz {
namespace {

struct Keyboard {
  const std::uint8_t* next = nullptr;
  const std::uint8_t* end = nullptr;
  std::size_t enters = 0;  // typed after the input
};

Keyboard keyboard;

std::uint8_t type_key() {
  if (keyboard.next != keyboard.end) return *keyboard.next++;
  ++keyboard.enters;
  return '\r';
}

constexpr Console kTypingConsole{
    .size = [] {},
    .clear = [] {},
    .write = [](const ConsoleBuffer&) {},
    .place_cursor = [](int, int) {},
    .show_cursor = [](bool) {},
    .read_key = type_key,
    .key_waiting = [] { return keyboard.next != keyboard.end; },
    .keyboard_lost = [] { return false; },
    .leave = [] {},
};

// Checks that codes have a character or a second byte exactly if they should.
void check_key(int code, std::uint8_t character) {
  require(code >= kKeyIgnored && code <= kKeyF9 && code != 3 && code != 4);
  if (code == kKeyCharacter) require(character != 0);
  if (code == kKeyEscape || code == kKeyTab || code == kKeyEnter) require(character == 0);
}

void check_wait() {
  std::uint8_t character = 0;
  int code = kKeyIgnored;
  key_wait(character, code);
  require(code != kKeyIgnored && code != kKeyEscape);
  check_key(code, character);
}

void check_poll() {
  const Keyboard before = keyboard;
  std::uint8_t character = 0;
  const int code = key_poll(character);
  check_key(code, character);
  if (before.next == before.end) require(code == kKeyEscape && keyboard.enters == before.enters);
}

void check_read() {
  const std::size_t waiting = static_cast<std::size_t>(keyboard.end - keyboard.next);
  const std::size_t enters = keyboard.enters;
  std::uint8_t character = 0;
  check_key(key_read(character), character);
  const auto left = static_cast<std::size_t>(keyboard.end - keyboard.next);
  const std::size_t taken = waiting - left + keyboard.enters - enters;
  require(taken == 1 || taken == 2);
}

void check(const std::uint8_t* data, std::size_t size) {
  terminal_reset(&kTypingConsole);
  keyboard = {.next = data, .end = data + size};
  if (size == 0) return;
  const unsigned ways = type_key();
  while (keyboard.next != keyboard.end) {
    for (unsigned turn = 0; turn < 4; ++turn) {
      switch (ways >> (2 * turn) & 3) {
        case 0:
          check_wait();
          break;
        case 1:
          check_poll();
          break;
        default:
          check_read();
      }
    }
  }
  check_poll();
  // At most one Enter for each of the last four turns, and one for a key begun before them.
  require(keyboard.enters <= 5);
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  marigold::inner::fuzz::check(data, size);
  return 0;
}
