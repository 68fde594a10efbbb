// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/posix/line_posix.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "runtime/wi/console/late_screen.h"

namespace marigold::inner {
namespace {

using Clock = std::chrono::steady_clock;

struct Speed {
  speed_t code;
  int baud;
};
constexpr Speed kSlowSpeeds[] = {{B50, 50},     {B75, 75},      {B110, 110},   {B134, 134},
                                 {B150, 150},   {B200, 200},    {B300, 300},   {B600, 600},
                                 {B1200, 1200}, {B1800, 1800},  {B2400, 2400}, {B4800, 4800},
                                 {B9600, 9600}, {B19200, 19200}};
constexpr int kFastBaud = 38400;  // this speed or a higher one

constexpr int kBitsPerByte = 10;  // with a start bit and a stop bit

// The backlog of a busy line, as a part of a second: a line is idle sooner if the process is
// delayed for longer than that, and a key waits so much longer for its effect.
constexpr int kBacklogsPerSecond = 60;

struct State {
  int bytes_per_second = kFastBaud / kBitsPerByte;
  bool estimates = false;
  double backlog = 0;  // estimated at the time `at`
  Clock::time_point at{};
};
constinit State state;

double estimate() {
  const Clock::time_point now = Clock::now();
  const std::chrono::duration<double> passed = now - state.at;
  state.backlog = std::max(0.0, state.backlog - passed.count() * state.bytes_per_second);
  state.at = now;
  return state.backlog;
}

int reported() {
  int bytes = 0;
  return ioctl(STDOUT_FILENO, TIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

}  // namespace

void line_start(speed_t speed, bool estimates) {
  state = State{};
  const auto* const slow = std::ranges::find(kSlowSpeeds, speed, &Speed::code);
  if (slow == std::end(kSlowSpeeds)) return;
  state.bytes_per_second = std::max(1, slow->baud / kBitsPerByte);
  state.estimates = estimates;
}

void line_note_sent(std::size_t bytes) {
  if (state.estimates) state.backlog = estimate() + static_cast<double>(bytes);
}

int line_room() {
  int backlog = reported();
  if (state.estimates) backlog = std::max(backlog, static_cast<int>(estimate()));
  if (backlog == 0) return kAnyRoom;
  return std::max(0, state.bytes_per_second / kBacklogsPerSecond - backlog);
}

}  // namespace marigold::inner
