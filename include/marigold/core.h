// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by all parts of the runtime: the user interface hook, bounded texts, numbers by a mask,
// dates.
//
// Process-wide, one thread. Nothing throws. Texts are ISO 8859-1, or in the code set of the
// language; sizes are in bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace marigold {

#pragma GCC visibility push(default)

// The release of the library, "1.62": a constant text.
const char* library_version();

// ---- Texts of bounded length in place: no allocation, always terminated by a zero byte.

// Up to Capacity characters (bytes) and the zero byte after them.
template <std::size_t Capacity>
class TextBuffer {
 public:
  constexpr TextBuffer() = default;
  constexpr explicit TextBuffer(std::string_view text) { assign_cut(text); }

  constexpr void clear() { set_length(0); }

  // Takes the text, or its first Capacity bytes. The text may not lie in this buffer.
  constexpr void assign_cut(std::string_view text) {
    clear();
    append_cut(text);
  }
  constexpr void append_cut(std::string_view text) {
    text = text.substr(0, Capacity - length_);
    std::copy(text.begin(), text.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(length_));
    set_length(length_ + text.size());
  }

  // Appends the text whole, or returns false and leaves the buffer as it was.
  [[nodiscard]] constexpr bool append(std::string_view text) {
    if (text.size() > Capacity - length_) return false;
    append_cut(text);
    return true;
  }

  [[nodiscard]] constexpr std::string_view view() const { return {bytes_.data(), length_}; }
  [[nodiscard]] constexpr const char* c_str() const { return bytes_.data(); }
  [[nodiscard]] constexpr std::size_t length() const { return length_; }
  [[nodiscard]] constexpr bool empty() const { return length_ == 0; }

 private:
  constexpr void set_length(std::size_t length) {
    length_ = length;
    bytes_[length] = '\0';
  }

  std::array<char, Capacity + 1> bytes_{};
  std::size_t length_ = 0;
};

// Length of the texts for which files and tables of the runtime are laid out: 251 bytes with the
// zero byte.
inline constexpr std::size_t kRuntimeStringCapacity = 250;
using RuntimeString = TextBuffer<kRuntimeStringCapacity>;

// ---- The user interface: how the runtime reaches the person at the screen.
//
// One process-wide record of functions. At the start of a process the functions write to standard
// error. The window system sets its own functions when it starts and restores the default when it
// ends. Texts are zero-terminated and belong to the caller. Texts may hold any bytes that files
// hold: each function makes control characters visible (on standard error only for a terminal).

struct UserInterface {
  // Shows a text that the user should take note of. Default: the text and a line end.
  void (*warning)(const char* text);
  // Shows a text of one line; the help key names the help page that explains it ("_BLONF_").
  // Default: the text and a line end.
  void (*message)(const char* text, const char* help_key);
  // Asks for one of several answers and returns its index, from 0. The first answer is the safe
  // one. The default writes the question and returns 0, since nobody can answer on standard error.
  int (*choose)(const char* question, std::span<const char* const> answers, const char* help_key);
  // Asks the user whether to try again to get a lock that another process holds: true to try again.
  // Default: writes the text and a line end, waits a second so that a caller in a loop does not
  // spin, and returns false.
  bool (*ask_for_lock)(const char* text, const char* help_key);
  // Shows the text for a second while the caller waits for a lock and tries again. Default: writes
  // the text and a line end and waits a second.
  void (*wait_for_lock)(const char* text);
  // Leaves full-screen mode, if it is on, so that the user can read later output on standard error.
  // May be called again. Default: nothing.
  void (*hand_terminal_back)();
  // Reports a fatal system error by its number and ends the process; never returns. Default: the
  // bare number.
  void (*fatal)(int number);
  // Called before a fatal error whose text does not name its source and line (a definition set).
  // Default: nothing.
  void (*fault_in_line)(const char* source, int line);
};

// Returns the record in force. A program that changes a field restores it.
UserInterface& user_interface();

// ---- Numbers shown and read by a mask, a picture of the text with a place for each character.
//
//   #      a digit, a blank where a leading zero would stand
//   0      a digit
//   ,      the decimal comma, once
//   .      a point between digits, a blank where no digit stands before it
//   -      as the first character: a minus sign for negative numbers, else a blank
//   other  stands for itself
//
// The shown text is as long as the mask. A number that does not fit (too many digits, negative
// without a sign in the mask, not a number) shows "*" in every place, so that no list or field ever
// shows a number that is cut.

// Returns the number as a text. Rounds the number's shortest decimal form half away from zero:
// 2.675 to two places is 2,68, as on paper.
std::string edit_number(std::string_view mask, double value);

// Reads the number in a text that the mask shows or that a user has typed: digits, with blanks,
// points and other characters of the mask ignored around them, at most as many before and after the
// comma as the mask has places, and a sign only if the mask has one. A text without digits is 0.
// Returns false for any other text, and `value` stays as it was.
bool read_number(std::string_view mask, std::string_view text, double& value);

// ---- Dates as small integers with a two-digit year, their German names, and dates, clock times
// and durations as texts of fixed width.
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

// Returns 1 if the first date is not later than the second, else 0. Both are dates, not in the sort
// layout.
int date_not_later(std::int32_t first, std::int32_t second);

std::int32_t date_today();

// Returns "14.11.26"; " 14.11" without a year; eight blanks for 0. Shows the last six digits of a
// longer number.
DateText date_text(std::int32_t date);

// Returns "09:30". For 0 it returns eight blanks and not five, because the column that a form
// leaves empty is as wide as a date.
DateText date_time_text(std::int32_t time);

// Returns "01:02:05" for a number of seconds; at most "99:59:59". A negative number counts as 0.
DateText date_duration_text(std::int32_t seconds);

#pragma GCC visibility pop

}  // namespace marigold
