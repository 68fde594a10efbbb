// SPDX-License-Identifier: GPL-3.0-or-later
// Progress of a long operation, in a line at the bottom of the screen, and the question whether to
// go on.
//
//   Progress progress("Adding up the orders");
//   int result = data_read_first(orders, 1);
//   while (result == kDataDone && progress.go_on(++done, all)) {
//     ...
//     result = data_read_next(orders, 1);
//   }
//   if (progress.was_interrupted()) ...
//
// Process-wide, one thread; nothing throws. The answers have the ids PROGRESS.CONTINUE ("Continue")
// and PROGRESS.INTERRUPT ("Interrupt").
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "marigold/windows.h"

namespace marigold {

#pragma GCC visibility push(default)

// Shows nothing for the first half second, and nothing at all while the window system is not active:
// such a program is not interrupted either.
class Progress {
 public:
  // The id of a text (texts.h) that names the operation, and what stands there for a database
  // without that text; null: the id. Both outlive the object.
  explicit Progress(const char* text, const char* built_in = nullptr);
  // Takes the line away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Call it for each step; most calls only count. With `all` the line shows the share that is done.
  // Once the line is shown, any key asks the user whether to interrupt the operation, and answers
  // nothing itself. Returns false when the user wants that, and at every later call.
  bool go_on(std::int64_t done, std::int64_t all = 0);
  [[nodiscard]] bool was_interrupted() const { return interrupted_; }

 private:
  using Clock = std::chrono::steady_clock;
  void show(std::int64_t done, std::int64_t all);
  bool user_goes_on();

  const char* text_;
  const char* built_in_;
  Clock::time_point due_;  // of the next line
  int calls_ = 0;
  int window_ = 0;  // 0: not shown
  bool interrupted_ = false;
};

#pragma GCC visibility pop

}  // namespace marigold
