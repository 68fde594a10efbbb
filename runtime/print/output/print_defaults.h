// SPDX-License-Identifier: GPL-3.0-or-later
// The runtime's defaults for printing: the printer's control strings and limits, from the file
// "DEFAULT.DAT" in the print directory.
//
// Process-wide. Format: docs/formats/print-defaults.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner {

inline constexpr std::size_t kLongestPitchText = 250;
inline constexpr std::size_t kLongestBoldText = 10;
// Largest size in bytes. Eight lines with the longest values, every byte an escape, take 4 KiB; the
// rest is room for comments.
inline constexpr std::int64_t kLargestDefaultsFile = 65536;

struct PrintDefaults {
  // Control strings, any bytes. They set the printer's characters per inch (at most
  // kLongestPitchText bytes each) and switch bold printing on and off (at most kLongestBoldText
  // each).
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

// Reads the text of the file. A default that the file does not name, or names in a line with an
// error, stays as it is.
std::vector<PrintDefaultsError> print_defaults_scan(std::string_view text, PrintDefaults& defaults);

// Returns the path of the file in a print directory.
std::string print_defaults_path(std::string_view directory);
// Reads such a file. Returns 0, or the system's error number: EFBIG for more than
// kLargestDefaultsFile bytes.
int print_defaults_read(const std::string& path, PrintDefaults& defaults,
                        std::vector<PrintDefaultsError>& errors);

// Reads the file and shows the user a warning for each line with an error. If the file cannot be
// read, shows a warning with the reason and raises system error 60.
void print_defaults_load();
// Loads the defaults unless they are loaded or set. The first list or output channel of a program
// calls it; a program that needs the defaults sooner calls print_defaults_load.
void print_defaults_start();

// Returns the defaults as loaded or set; before that, those of a printer without control strings.
const PrintDefaults& print_defaults();
// Sets defaults of a program's or test's own.
void print_defaults_set(const PrintDefaults& defaults);
// Returns to the state at the start of a program.
void print_defaults_reset();

// Returns the day to print, DD.MM.YYYY.
std::string print_today();
// Returns the first six characters of such a day and its last two, DD.MM.YY.
std::string print_short_date(std::string_view day);

}  // namespace marigold::inner
