// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/clock.h"

#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

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
  constexpr DWORD kMilliseconds = 1000;
  if (clock_sleep_hook != nullptr) return clock_sleep_hook(seconds);
  Sleep(static_cast<DWORD>(seconds) * kMilliseconds);
}

}  // namespace marigold::inner
