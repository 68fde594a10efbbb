// SPDX-License-Identifier: GPL-3.0-or-later
// Decides when a screen that the program has changed is sent to its terminal.
//
// As a rule at once. The screen is late while it would be replaced before a user has seen it: while
// keys wait that the program has not read yet (at most kLongestLateness), and while the line to the
// terminal still has bytes to send. A late screen is sent before the program waits for a key, before
// it gives the terminal back, and else by a thread, since a program may go on working for long
// without a call. Process-wide.
#pragma once

#include <chrono>
#include <limits>
#include <mutex>

namespace marigold::inner {

// Time for which waiting keys keep a screen back.
inline constexpr std::chrono::milliseconds kLongestLateness{250};

inline constexpr int kAnyRoom = std::numeric_limits<int>::max();

// The way to the terminal. All functions are called with the screen's lock held.
struct ScreenLine {
  // Whether the process holds the terminal and shows its screen there. False: a screen is never
  // late.
  bool (*is_held)();
  // Whether the program has keys to read. Reads none. Called by the program's thread only.
  bool (*keys_wait)();
  // Bytes that the line takes now without a delay that a user notices; kAnyRoom for an idle line.
  int (*room)();
};

// Sends the screen, or the beginning of what is missing, with at least `room` bytes. Returns true
// when the terminal shows all of the screen.
using ScreenPainter = bool (*)(int room);

// Held while the wanted or the shown screen is read or changed, because of the thread. A thread may
// hold several.
class ScreenLock {
 public:
  ScreenLock();
  ~ScreenLock();
  ScreenLock(const ScreenLock&) = delete;
  ScreenLock& operator=(const ScreenLock&) = delete;
};

// The program has changed its screen: sends it, or lets it be late.
void screen_changed(const ScreenLine& line, ScreenPainter paint);
bool screen_is_late();
// Sends as much of a late screen as the line takes, unless keys wait. To be called before a wait
// for a key.
void screen_catch_up();
// Sends all of a late screen.
void screen_finish();
// The terminal shows the screen by other means: it is not late.
void screen_is_shown();

}  // namespace marigold::inner
