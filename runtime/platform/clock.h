// SPDX-License-Identifier: GPL-3.0-or-later
// The local wall clock, and waiting.
#pragma once

namespace marigold::inner {

// A moment in local time. Month 1 to 12, day 1 to 31, weekday 0 (Sunday) to 6; year with four
// digits.
struct LocalTime {
  int hour = 0;
  int minute = 0;
  int second = 0;
  int year = 0;
  int month = 0;
  int day = 0;
  int weekday = 0;
};

// Returns the present moment in the time zone of the process, or zeros if the clock cannot be read.
LocalTime clock_local_time();

// Called instead of waiting if set, for tests. Null in every other program. A wait of less than a
// second has 0 seconds.
extern void (*clock_sleep_hook)(int seconds);

// Wait for this time, also if signals arrive meanwhile.
void clock_sleep(int seconds);
void clock_sleep_milliseconds(int milliseconds);

}  // namespace marigold::inner
