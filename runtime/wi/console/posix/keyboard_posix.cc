// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/posix/keyboard_posix.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>

namespace marigold::inner {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kLongestEscape = 10000;

struct State {
  KeyDecoder decoder{KeyCharacters::kUtf8};
  milliseconds patience{kEscapeMilliseconds};
  Clock::time_point last_byte{};
};
State state;

milliseconds patience_from(const char* text) {
  int value = kEscapeMilliseconds;
  if (text != nullptr) {
    const char* end = text + std::strlen(text);
    int read = 0;
    const auto [stop, error] = std::from_chars(text, end, read);
    if (error == std::errc() && stop == end && read >= 0 && read <= kLongestEscape) value = read;
  }
  return milliseconds(value);
}

// Returns the time left for an unfinished sequence.
milliseconds patience_left() {
  const auto passed = std::chrono::ceil<milliseconds>(Clock::now() - state.last_byte);
  return std::max(state.patience - passed, milliseconds(0));
}

// Returns the milliseconds for poll: the time left for an unfinished sequence, or for ever.
int time_to_wait(bool waiting) {
  if (!waiting) return 0;
  return state.decoder.in_sequence() ? static_cast<int>(patience_left().count()) : -1;
}

KeyWait read_bytes() {
  std::array<std::uint8_t, 64> bytes{};
  const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
  if (count == 0) return KeyWait::kGone;
  if (count < 0) return errno == EINTR || errno == EAGAIN ? KeyWait::kWoken : KeyWait::kGone;
  for (ssize_t index = 0; index < count; ++index)
    state.decoder.feed(bytes[static_cast<std::size_t>(index)]);
  state.last_byte = Clock::now();
  return state.decoder.has_key() ? KeyWait::kKey : KeyWait::kNone;
}

// Polls the terminal once. Returns kNone if nothing came in time, or nothing that makes a key.
KeyWait wait_once(int wake_descriptor, bool waiting) {
  std::array<pollfd, 2> sources = {{{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                    {.fd = wake_descriptor, .events = POLLIN, .revents = 0}}};
  if (poll(sources.data(), sources.size(), time_to_wait(waiting)) < 0) {
    return errno == EINTR || errno == EAGAIN ? KeyWait::kWoken : KeyWait::kGone;
  }
  if (sources[1].revents != 0) return KeyWait::kWoken;
  if ((sources[0].revents & POLLNVAL) != 0) return KeyWait::kGone;
  if (sources[0].revents != 0) return read_bytes();
  if (state.decoder.in_sequence() && patience_left() == milliseconds(0))
    state.decoder.end_sequence();
  return KeyWait::kNone;
}

}  // namespace

void keyboard_start(KeyCharacters characters) {
  state = {};
  state.decoder = KeyDecoder(characters);
  state.patience = patience_from(std::getenv("MARIGOLD_ESCAPE_MS"));
}

KeyWait keyboard_wait(int wake_descriptor, bool waiting) {
  for (;;) {
    if (state.decoder.has_key()) return KeyWait::kKey;
    const KeyWait outcome = wait_once(wake_descriptor, waiting);
    if (outcome == KeyWait::kNone && !waiting)
      return state.decoder.has_key() ? KeyWait::kKey : KeyWait::kNone;
    if (outcome != KeyWait::kNone) return outcome;
  }
}

bool keyboard_has_byte() {
  return state.decoder.has_key();
}

// Asked for each change of the screen.
bool keyboard_has_input() {
  int bytes = 0;
  return keyboard_has_byte() || (ioctl(STDIN_FILENO, FIONREAD, &bytes) == 0 && bytes > 0);
}

std::uint8_t keyboard_take() {
  return state.decoder.take();
}

}  // namespace marigold::inner
