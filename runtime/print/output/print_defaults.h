// SPDX-License-Identifier: GPL-3.0-or-later
// The runtime's defaults for printing: what the printer understands, from the file "DEFAULT.DAT" in
// the print directory.
//
// Process-wide. Format: docs/formats/print-defaults.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marigold {

inline constexpr std::size_t kLongestPitchText = 250;
inline constexpr std::size_t kLongestBoldText = 10;
// In bytes. Eight lines with the longest values, every byte as an escape, take 4 KiB; the rest is
// for comments.
inline constexpr std::int64_t kLargestDefaultsFile = 65536;

struct PrintDefaults {
  // Control strings, any bytes. They switch the printer to so many characters per inch, of at most
  // kLongestPitchText bytes, and bold printing on and off, of at most kLongestBoldText.
  std::string pitch_10 = {};
  std::string pitch_12 = {};
  std::string pitch_17 = {};
  std::string bold_on = {};
  std::string bold_off = {};
  // DD.MM.YYYY; "" stands for the day on which a list is opened.
  std::string today = {};
  // No page is longer than so many lines, counted from its first line on when one is given. 0:
  // none.
  int page_limit = 0;
  int page_limit_first_line = 0;
};

struct PrintDefaultsError {
  int line = 0;  // from 1
  std::string reason;
};

// Reads the text of the file; what it does not name, and lines at fault, leave a default as it is.
std::vector<PrintDefaultsError> print_defaults_scan(std::string_view text, PrintDefaults& defaults);

// The path of the file in a print directory.
std::string print_defaults_path(std::string_view directory);
// Reads such a file. 0, or the system's error number: EFBIG for more than kLargestDefaultsFile.
int print_defaults_read(const std::string& path, PrintDefaults& defaults,
                        std::vector<PrintDefaultsError>& errors);

// Reads the file. Each line at fault is a warning to the user. When the file cannot be read, the
// reason is one, and system error 60.
void print_defaults_load();
// Loads the defaults unless they are loaded or set. Printing starts with it: the first list or
// output channel of a program. A program that wants to know sooner calls print_defaults_load.
void print_defaults_start();

// As they were loaded or set; before that a printer without control strings.
const PrintDefaults& print_defaults();
// For programs and tests that have their own.
void print_defaults_set(const PrintDefaults& defaults);
// As at the start of a program.
void print_defaults_reset();

// The day to print, DD.MM.YYYY.
std::string print_today();
// Of such a day: its first six characters and the last two, DD.MM.YY.
std::string print_short_date(std::string_view day);

}  // namespace marigold
