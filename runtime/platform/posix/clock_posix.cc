// SPDX-License-Identifier: GPL-3.0-or-later
#include <time.h>

#include <cerrno>
#include <ctime>

#include "runtime/platform/clock.h"

namespace marigold::inner {

namespace {

constexpr int kSecond = 1000;  // milliseconds

}  // namespace

void (*clock_sleep_hook)(int seconds) = nullptr;

LocalTime clock_local_time() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return {};
  return {.hour = local.tm_hour,
          .minute = local.tm_min,
          .second = local.tm_sec,
          .year = local.tm_year + 1900,
          .month = local.tm_mon + 1,
          .day = local.tm_mday,
          .weekday = local.tm_wday};
}

void clock_sleep(int seconds) {
  clock_sleep_milliseconds(seconds * kSecond);
}

void clock_sleep_milliseconds(int milliseconds) {
  if (clock_sleep_hook != nullptr) return clock_sleep_hook(milliseconds / kSecond);
  timespec left{.tv_sec = milliseconds / kSecond, .tv_nsec = milliseconds % kSecond * 1'000'000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace marigold::inner
