// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/clock.h"

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

namespace {

constexpr int kSecond = 1000;  // milliseconds

}  // namespace

void (*clock_sleep_hook)(int seconds) = nullptr;

LocalTime clock_local_time() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  return {.hour = now.wHour,
          .minute = now.wMinute,
          .second = now.wSecond,
          .year = now.wYear,
          .month = now.wMonth,
          .day = now.wDay,
          .weekday = now.wDayOfWeek};
}

void clock_sleep(int seconds) {
  clock_sleep_milliseconds(seconds * kSecond);
}

void clock_sleep_milliseconds(int milliseconds) {
  if (clock_sleep_hook != nullptr) return clock_sleep_hook(milliseconds / kSecond);
  Sleep(static_cast<DWORD>(milliseconds));
}

}  // namespace marigold::inner
