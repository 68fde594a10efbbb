// The output channel: takes the lines of a list with their markers (meta_marker.h), counts lines
// and pages, puts header and footer texts where they belong, and gives what is left to a device.
//
// Process-wide; there is one. What is written while none is open is system error
// 45; opening an open one is 42, closing a closed one 43, a marker of no known name 5, a header or
// footer text of more than 1,000 characters 44.
#pragma once

#include <string>
#include <string_view>

#include "runtime/print/output/meta_marker.h"

namespace marigold {

inline constexpr int kTotals = 4;

// Where the output goes. `text` gets printable characters and backspaces, which come apart from
// them, in pieces of at most 250; `control` the markers of pitches and bold.
struct OutputDevice {
  void (*text)(std::string_view text);
  void (*control)(Marker marker);
  void (*end_line)();
  void (*end_page)();
  // No more comes. 0, or the number of the system error or command status that tells why the
  // output is not complete.
  int (*close)();
};

// A page of so many lines, at least 1. The name is for whoever looks at what is being printed. The
// first channel of a program reads the defaults (print_defaults_start).
void channel_open(std::string_view name, int page_length, const OutputDevice& device);
bool channel_is_open();
// What the device's close gives.
int channel_close();

// Text with markers in it.
void channel_write(std::string_view text);
// Text without, and a marker without operands: the same, for those who know.
void channel_write_plain(std::string_view text);
void channel_write_marker(Marker marker);

// While it is stopped, what is written is dropped.
void channel_stop(bool stopped);

// Of the channel that is open, or was last.
int channel_page_length();

// Called for each number that the mask of a marker has no room for, with the total's number or 0
// for the page; null, as when a channel opens: nobody wants to know.
void channel_on_overflow(void (*told)(int total, std::string_view mask, double number));

// The sums that "UEBERTRAG," prints, by their numbers 1 to 4. They start at 0 when a channel opens.
void channel_add_total(int total, double number);

}  // namespace marigold
