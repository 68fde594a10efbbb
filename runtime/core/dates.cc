// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/core.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "runtime/core/user_interface.h"
#include "runtime/platform/clock.h"

namespace marigold {

using namespace inner;

namespace {

constexpr int kMonths = 12;
constexpr std::int32_t kFirstWithYear = 10000;  // below: day and month only
constexpr std::int32_t kLongestDuration = 359999;

constexpr std::array<const char*, 7> kWeekdays = {"Sonntag",    "Montag",  "Dienstag", "Mittwoch",
                                                  "Donnerstag", "Freitag", "Samstag"};
constexpr std::array<const char*, kMonths> kMonthNames = {
    "Januar", "Februar", "M{rz",      "April",   "Mai",      "Juni",
    "Juli",   "August",  "September", "Oktober", "November", "Dezember"};
constexpr std::array<std::int32_t, kMonths> kMonthLengths = {31, 28, 31, 30, 31, 30,
                                                             31, 31, 30, 31, 30, 31};
// Days before each month of a common year.
constexpr std::array<std::int32_t, kMonths> kDaysBefore = {0,   31,  59,  90,  120, 151,
                                                           181, 212, 243, 273, 304, 334};
// The day number counts every month as 31 days. From each of these months on that is one day too
// many; from March on it is three days too many for February.
constexpr std::int32_t kCorrectedMonths[] = {5, 7, 10, 12};

// Four years with their leap day; a quarter is the 365.25 days of a year.
constexpr std::int64_t kDaysOfFourYears = 1461;

std::int32_t month_length(const DateParts& parts) {
  const bool leap_february = parts.month == 2 && parts.year_in_four == 0;
  return kMonthLengths[static_cast<std::size_t>(parts.month - 1)] + (leap_february ? 1 : 0);
}

bool is_valid(std::int32_t date) {
  const DateParts parts = date_split(date);
  return date > 0 && parts.year != 0 && parts.month != 0 && parts.day != 0 &&
         parts.month <= kMonths && parts.day <= month_length(parts);
}

std::int32_t month_correction(const DateParts& parts) {
  if (parts.month < 3) return parts.year_in_four == 0 ? 1 : 0;
  const auto reached = [&parts](std::int32_t month) { return parts.month >= month; };
  return 3 + static_cast<std::int32_t>(std::ranges::count_if(kCorrectedMonths, reached));
}

// Puts the number's digits into the zeros of a picture, right-aligned.
DateText filled(std::string_view picture, std::int32_t number) {
  std::array<char, 8> text{};
  std::int64_t rest = std::llabs(number);
  for (std::size_t place = picture.size(); place-- > 0;) {
    text[place] = picture[place];
    if (picture[place] != '0') continue;
    text[place] = static_cast<char>('0' + rest % 10);
    rest /= 10;
  }
  return DateText({text.data(), picture.size()});
}

DateText blanks() {
  return DateText("        ");
}

}  // namespace

DateParts date_split(std::int32_t date) {
  const std::int32_t year = date % 100;
  return {.year = year, .month = date / 100 % 100, .day = date / 10000, .year_in_four = year % 4};
}

int date_check(std::int32_t date) {
  if (is_valid(date)) return 1;
  user_interface().message("Datum nicht korrekt ! ", "ADFEH__");
  return 0;
}

int date_day_number(std::int32_t date, std::int32_t& number) {
  number = 0;
  if (!is_valid(date)) return 0;
  const DateParts parts = date_split(date);
  number = parts.year * 365 + parts.month * 31 - 31 + parts.day + parts.year / 4 -
           month_correction(parts);
  return 1;
}

std::int32_t date_of_day_number(std::int32_t number) {
  if (number < 0) return 0;
  const auto year = static_cast<std::int32_t>(number * std::int64_t{4} / kDaysOfFourYears);
  const auto rest = static_cast<std::int32_t>(number - year * kDaysOfFourYears / 4);
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  const std::int32_t adjustment = leap && rest < 60 ? 1 : 0;
  std::int32_t month = 1;
  for (std::int32_t next = 1; next <= kMonths; ++next) {
    const std::int32_t days = next < 3 ? rest + adjustment : rest;
    if (days > kDaysBefore[static_cast<std::size_t>(next - 1)]) month = next;
  }
  const std::int32_t day = rest - kDaysBefore[static_cast<std::size_t>(month - 1)] + adjustment;
  return day * 10000 + month * 100 + year;
}

int date_weekday(std::int32_t date, int& index, const char*& name) {
  std::int32_t number = 0;
  const int valid = date_day_number(date, number);
  index = number % 7;
  name = valid == 1 ? kWeekdays[static_cast<std::size_t>(index)] : "";
  return valid;
}

const char* date_month_name(int month) {
  return month < 1 || month > kMonths ? "" : kMonthNames[static_cast<std::size_t>(month - 1)];
}

std::int32_t date_to_sort_layout(std::int32_t date) {
  const DateParts parts = date_split(date);
  return parts.year * 10000 + parts.month * 100 + parts.day;
}

std::int32_t date_to_display_layout(std::int32_t sorted) {
  const std::int32_t year = sorted / 10000;
  const std::int32_t month = sorted / 100 % 100;
  const std::int32_t day = sorted % 100;
  return year == 0 ? day * 100 + month : day * 10000 + month * 100 + year;
}

int date_not_later(std::int32_t first, std::int32_t second) {
  return date_to_sort_layout(first) <= date_to_sort_layout(second) ? 1 : 0;
}

std::int32_t date_today() {
  const LocalTime now = clock_local_time();
  return now.day * 10000 + now.month * 100 + now.year % 100;
}

DateText date_text(std::int32_t date) {
  if (date == 0) return blanks();
  return date < kFirstWithYear ? filled("   00.00", date) : filled("00.00.00", date);
}

DateText date_time_text(std::int32_t time) {
  return time == 0 ? blanks() : filled("00:00", time);
}

DateText date_duration_text(std::int32_t seconds) {
  seconds = std::clamp(seconds, 0, kLongestDuration);
  return filled("00:00:00", seconds / 3600 * 10000 + seconds / 60 % 60 * 100 + seconds % 60);
}

}  // namespace marigold
