// SPDX-License-Identifier: GPL-3.0-or-later
// Shows the user the progress of long work.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace marigold::inner {

// A line with a growing count on standard error, if that is a terminal and the work takes longer
// than a second. The destructor removes the line.
class Progress {
 public:
  // The line is "WHAT: 123000 records".
  explicit Progress(const std::string& what);
  ~Progress() { hide(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Counts one more item. Cheap: it reads the clock only now and then.
  void step() {
    constexpr std::int64_t kSeldom = 1024;
    if (++done_ % kSeldom == 0 && terminal_) show(std::to_string(done_) + " records");
  }

  // Shows the part of the work that is done: the line is "WHAT: 37 %".
  void at(std::uint64_t done, std::uint64_t all) {
    if (terminal_ && all > 0) show(std::to_string(done * 100 / all) + " %");
  }

  // Removes the line, before other output.
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

// From now on shows such a line while the engine rebuilds the indexes of a file, for example after
// a power failure.
void progress_of_rebuilds();

}  // namespace marigold::inner
