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
// use a 7-bit national character set and end in a zero byte. Only date_check shows a message; the
// other operations return 0 or an empty text for an invalid date.
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

// Returns the parts in the number, valid or not.
DateParts date_split(std::int32_t date);

// Returns 1 for a valid date. Else shows the user "Datum nicht korrekt ! " with the help key
// "ADFEH__" and returns 0.
int date_check(std::int32_t date);

// Gives the day number and returns 1; gives 0 and returns 0 for an invalid date.
int date_day_number(std::int32_t date, std::int32_t& number);

// Returns the date of a day number; 0 for a negative one. Beyond the year 99 the year has more
// digits than a date has room for.
std::int32_t date_of_day_number(std::int32_t number);

// Gives the index (0 is Sunday) and the name of the weekday and returns 1; gives 0 and an empty
// name and returns 0 for an invalid date.
int date_weekday(std::int32_t date, int& index, const char*& name);

// Returns the name of the month 1 to 12, "" for other numbers. The third is "M{rz": "{" is the
// umlaut in the national character set of forms and lists.
const char* date_month_name(int month);

std::int32_t date_to_sort_layout(std::int32_t date);

// Returns DDMM alone if the year is 0.
std::int32_t date_to_display_layout(std::int32_t sorted);

// Returns 1 if the first date is not later than the second, else 0.
int date_not_later(std::int32_t first, std::int32_t second);

std::int32_t date_today();

// Returns "14.11.26"; "   14.11" without a year; eight blanks for 0. Shows the last six digits of a
// longer number.
DateText date_text(std::int32_t date);

// Returns "09:30". For 0 it returns eight blanks and not five, because the column that a form
// leaves empty is as wide as a date.
DateText date_time_text(std::int32_t time);

// Returns "01:02:05" for a number of seconds; at most "99:59:59". A negative number counts as 0.
DateText date_duration_text(std::int32_t seconds);

}  // namespace marigold
