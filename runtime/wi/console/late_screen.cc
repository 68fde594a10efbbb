// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/late_screen.h"

#include <thread>

#include "runtime/platform/worker.h"

namespace marigold::inner {
namespace {

using Clock = std::chrono::steady_clock;

// Between two looks of the thread at a late screen. A line of 9600 baud sends 10 bytes meanwhile.
constexpr std::chrono::milliseconds kTick{10};

// The destructors of all members are trivial, because the thread may outlive static objects.
struct State {
  const ScreenLine* line = nullptr;
  ScreenPainter paint = nullptr;
  bool is_late = false;
  bool is_late_for_keys = false;
  bool is_watched = false;  // by the thread
  Clock::time_point since{};
};
constinit State state;
std::recursive_mutex lock;

bool is_overdue() {
  return Clock::now() - state.since >= kLongestLateness;
}

// A line that has taken a part may have room for more.
void advance() {
  while (state.is_late) {
    const int room = state.line->is_held() ? state.line->room() : kAnyRoom;
    if (room <= 0) return;
    state.is_late = !state.paint(room);
  }
}

// Runs in a thread of its own as long as the screen is late. A program that has given the terminal
// back, or is stopped, sends its screen when it takes the terminal again.
void watch() {
  for (;;) {
    std::this_thread::sleep_for(kTick);
    const ScreenLock guard;
    state.is_watched = state.is_late && state.line->is_held();
    if (!state.is_watched) return;
    if (!state.is_late_for_keys || is_overdue()) advance();
  }
}

void start_watching() {
  if (state.is_watched) return;
  std::thread watcher = quiet_thread(watch);
  if (!watcher.joinable()) return screen_finish();
  watcher.detach();
  state.is_watched = true;
}

}  // namespace

ScreenLock::ScreenLock() {
  lock.lock();
}

ScreenLock::~ScreenLock() {
  lock.unlock();
}

void screen_changed(const ScreenLine& line, ScreenPainter paint) {
  state.line = &line;
  state.paint = paint;
  if (!state.is_late) state.since = Clock::now();
  state.is_late = true;
  state.is_late_for_keys = line.is_held() && line.keys_wait();
  if (!state.is_late_for_keys || is_overdue()) advance();
  if (state.is_late) start_watching();
}

bool screen_is_late() {
  return state.is_late;
}

void screen_catch_up() {
  const ScreenLock guard;
  if (!state.is_late || state.line->keys_wait()) return;
  state.is_late_for_keys = false;
  advance();
}

void screen_finish() {
  const ScreenLock guard;
  if (!state.is_late || !state.line->is_held()) return;
  state.paint(kAnyRoom);
  state.is_late = false;
}

void screen_is_shown() {
  state.is_late = false;
}

}  // namespace marigold::inner
