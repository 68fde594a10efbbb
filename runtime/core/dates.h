// Dates as small integers with a two-digit year, their German names, and dates, clock times and
// durations as texts of fixed width.
//
//   date         DDMMYY: day * 10000 + month * 100 + year, the year 0 to 99; 0 is no date. A value
//                below 10000 is a day and a month only, DDMM.
//   sort layout  YYMMDD, only to compare dates. The year 99 comes after the year 01.
//   day number   days, the year taken as one of the 1900s: 366 is 1 January of the year 01
//   clock time   HHMM: hour * 100 + minute
//
// A date in the year 00 is not valid; programs have relied on 0 as "no year" from the start. Texts
// are in a 7-bit national character set and end in a zero byte. Only date_check says anything; the
// other operations answer an invalid date with 0 or an empty text.
#pragma once

#include <cstdint>

#include "runtime/core/text_buffer.h"

namespace marigold {

struct DateParts {
  std::int32_t year = 0;  // the last two digits
  std::int32_t month = 0;
  std::int32_t day = 0;
  std::int32_t year_in_four = 0;  // the year modulo 4; 0 is a leap year
};

using DateText = TextBuffer<8>;

// The parts as they stand in the number, valid or not.
DateParts date_split(std::int32_t date);

// 1 for a valid date. Else 0, and the user is shown "Datum nicht korrekt ! " with the help key
// "ADFEH__".
int date_check(std::int32_t date);

// 1 and the day number, or 0 and the day number 0.
int date_day_number(std::int32_t date, std::int32_t& number);

// The date of a day number; 0 for a negative one. Beyond the year 99 the year has more digits than
// a date has room for.
std::int32_t date_of_day_number(std::int32_t number);

// 1, the index (0 is Sunday) and the name; or 0, the index 0 and an empty name.
int date_weekday(std::int32_t date, int& index, const char*& name);

// The name of the month 1 to 12. The third is "M{rz": "{" is the umlaut of the national character
// set that forms and lists are written in.
const char* date_month_name(int month);

std::int32_t date_to_sort_layout(std::int32_t date);

// DDMM alone when the year is 0.
std::int32_t date_to_display_layout(std::int32_t sorted);

// 1 when the first date is not later than the second.
int date_not_later(std::int32_t first, std::int32_t second);

std::int32_t date_today();

// "14.11.26"; "   14.11" without a year; eight blanks for 0. Of more than six digits the last six.
DateText date_text(std::int32_t date);

// "09:30"; eight blanks, and not five, for 0: the column that a form leaves empty is as wide as a
// date.
DateText date_time_text(std::int32_t time);

// "01:02:05" from a number of seconds; at most "99:59:59". A negative number is taken as 0.
DateText date_duration_text(std::int32_t seconds);

}  // namespace marigold
