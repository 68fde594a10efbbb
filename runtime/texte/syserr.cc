// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/syserr.h"

#include <cstdlib>
#include <string>

#include "runtime/core/line_output.h"
#include "runtime/core/status_file.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/passing_files.h"
#include "runtime/texte/sysmsg.h"

namespace marigold {

using namespace inner;

namespace {

struct NumberRange {
  int first;
  int last;
  int entry;  // number in the key of the entry for all of them; 0: an entry for each
};

constexpr NumberRange kRanges[] = {{1, 69, 0}, {100, 999, 100}, {1000, 9999, 1000}};

const SystemText& catalogue_text(int number) {
  for (const NumberRange& range : kRanges) {
    if (number < range.first || number > range.last) continue;
    const int entry = range.entry == 0 ? number : range.entry;
    return *sysmsg_entry("syserr_" + std::to_string(entry))->text;
  }
  return syserr_unknown;
}

constexpr int kColumn = 3;
constexpr int kNumberColumn = 10;
constexpr int kLabelWidth = 6;
constexpr int kTextWidth = 60;

}  // namespace

void inner::syserr_start() {
  user_interface().fatal = syserr_fatal;
}

void syserr_text(SystemText& output, int number) {
  output = catalogue_text(number);
}

void syserr_show(int number) {
  // Hands the terminal back first: text on a screen vanishes when the runtime leaves or clears the
  // screen.
  user_interface().hand_terminal_back();
  line_output_text(2, kColumn, syserr_error.c_str(), kLabelWidth);
  line_output_number(2, kNumberColumn, number);
  line_output_text(3, kColumn, catalogue_text(number).c_str(), kTextWidth);
  line_output_text(5, kColumn, syserr_txt1.c_str(), kTextWidth);
  line_output_text(6, kColumn, syserr_txt2.c_str(), kTextWidth);
}

void syserr_fatal(int number) {
  status_close_with_error(number);
  syserr_show(number);
  passing_files_remove();  // the handler of the signal may be gone with the terminal
  std::abort();
}

void syserr_report(int number) {
  status_close();
  syserr_show(number);
}

}  // namespace marigold
