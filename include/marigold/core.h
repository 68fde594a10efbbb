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

  // Takes the text, or its first Capacity characters. The text may not lie in this buffer.
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

// The text for which files and tables of the runtime are laid out: 251 bytes with its zero byte.
inline constexpr std::size_t kRuntimeStringCapacity = 250;
using RuntimeString = TextBuffer<kRuntimeStringCapacity>;

// ---- The user interface: how the runtime reaches the person at the screen.
//
// One record of functions, process-wide. At the start of a process the functions write to standard
// error. The window system puts its own in place when it starts and gives the default back when it
// ends. Texts are zero-terminated and belong to the caller. They may hold anything that files hold:
// the functions make control characters visible (on standard error: when that is a terminal).

struct UserInterface {
  // Shows a text that the user should take note of. Default: the text and a line end.
  void (*warning)(const char* text);
  // Shows a text of one line; the help key names the help page that explains it ("_BLONF_").
  // Default: the text and a line end.
  void (*message)(const char* text, const char* help_key);
  // Asks for one of several answers and returns its index, 0 first. The first is the safe one: the
  // default writes the question and takes it, since nobody can answer on standard error.
  int (*choose)(const char* question, std::span<const char* const> answers, const char* help_key);
  // A lock of another process is in the way, and trying again is the user's choice: true for that.
  // Default: the text and a line end, a second's wait so that whoever repeats the call does not
  // spin, and no.
  bool (*ask_for_lock)(const char* text, const char* help_key);
  // The same, but it will be tried again in any case: shows the text for a second and takes it
  // away. Default: the text and a line end, and a second's wait.
  void (*wait_for_lock)(const char* text);
  // Leaves full-screen work, if it was begun, so that what goes to standard error afterwards can be
  // read. May be called again. Default: nothing.
  void (*hand_terminal_back)();
  // Reports a fatal system error by its number and ends the process; never returns. Default: the
  // bare number.
  void (*fatal)(int number);
  // A fatal error is about to be raised for a line of a source that it does not name (a definition
  // set). Default: nothing.
  void (*fault_in_line)(const char* source, int line);
};

// The record in force. A program that changes a field restores it.
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
// A text by a mask is as long as the mask. A number that does not fit (too many digits, negative
// where the mask has no sign, not a number at all) shows "*" in every place: a list or a field
// never shows a number that is cut.

// The number as a text. Rounds the shortest decimal form of the number half up, away from zero:
// 2.675 to two places is 2,68, as on paper.
std::string edit_number(std::string_view mask, double value);

// Reads a text that was shown by the mask or typed for it: digits with blanks, points and other
// characters of the mask ignored around them, at most as many before and after the comma as the
// mask has places, a sign only where the mask has one. No digits at all are 0. Returns false, and
// leaves the value as it was, for any other text.
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
// are in a 7-bit national character set and end in a zero byte. Only date_check shows a message;
// the other operations answer an invalid date with 0 or an empty text.

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

#pragma GCC visibility pop

}  // namespace marigold
