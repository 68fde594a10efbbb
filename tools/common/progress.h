// SPDX-License-Identifier: GPL-3.0-or-later
// How far a long piece of work has come, for who watches it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace marigold {

// A line on standard error that counts up, when that is a terminal and the work takes longer than a
// second. It is gone at the end of the object's life.
class Progress {
 public:
  // The line is "WHAT: 123000 records".
  explicit Progress(const std::string& what);
  ~Progress() { hide(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // One more is done. Cheap: the clock is looked at now and then.
  void step() {
    constexpr std::int64_t kSeldom = 1024;
    if (++done_ % kSeldom == 0 && terminal_) show(std::to_string(done_) + " records");
  }

  // So much of all is done: the line is "WHAT: 37 %".
  void at(std::uint64_t done, std::uint64_t all) {
    if (terminal_ && all > 0) show(std::to_string(done * 100 / all) + " %");
  }

  // Takes the line away, before something else is written.
  void hide();

 private:
  using Clock = std::chrono::steady_clock;

  void show(const std::string& how_far);

  std::string what_;
  bool terminal_;
  bool shown_ = false;
  std::int64_t done_ = 0;
  Clock::time_point next_;
};

// From now on such a line shows how far the engine is while it makes the indexes of a file again
// because the power has failed.
void progress_of_rebuilds();

}  // namespace marigold
