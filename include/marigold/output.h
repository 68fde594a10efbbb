// SPDX-License-Identifier: GPL-3.0-or-later
// Printed output: where it goes, the print commands, and the output channel for programs that print
// without lists (lists.h).
//
// Process-wide, one thread; nothing throws. Texts are ISO 8859-1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace marigold {

#pragma GCC visibility push(default)

// ---- Devices

// Markers that output lines carry for the output channel: a name between two bytes of value 5.
enum class Marker : std::uint8_t {
  kNewLine,     // "NL"
  kNewPage,     // "NP"
  kPitch10,     // "10Z"
  kPitch12,     // "12Z"
  kPitch17,     // "16Z": printers of the time had no other name for it
  kBoldOn,      // "FETTEIN"
  kBoldOff,     // "FETTAUS"
  kHeaderEnd,   // "KOPFEND"
  kFooterEnd,   // "FUSSEND"
  kShortDate,   // "TTMMJJ"
  kLongDate,    // "TTMMJJJJ"
  kPage,        // "PAGE,"
  kTotal,       // "UEBERTRAG,"
  kCollect,     // "BB"
  kCollectEnd,  // "BE"
  kUnknown,
};

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

// The printer pipe (open_printer), with the control strings of the defaults. Its close gives 1
// when there was no pipe to write to, or its command has stopped reading.
extern const OutputDevice kPrinterDevice;

// ---- The print file: what a list is printed into instead of the printer or the screen
// (list_to_device). There is one at a time. It is put in place when it is whole, so that no program
// sees half of it, and not at all after a failure.

// Opens the print file for text in UTF-8: lines as they look on paper, without blanks at their
// ends, and a form feed after each page in the place of its last empty lines. An empty path is
// standard output. Returns null with the reason.
const OutputDevice* text_sink_open(const std::string& path, std::string& reason);

// The same file for a device of the program's own. False with the reason.
bool print_file_open(const std::string& path, std::string& reason);
// Appends bytes. After a failure, or after print_file_fail, nothing more is written.
void print_file_write(std::string_view bytes);
// Notes why the file will not be whole. The first reason counts.
void print_file_fail(std::string_view reason);
// Puts the file in place unless something failed. Returns 0, or 1 with print_file_problem. A device
// calls it in its close.
int print_file_close();

// Why the print file that was opened last is not whole; "" if it is. Valid after its close, until
// the next one is opened.
const std::string& print_file_problem();

// ---- The output channel: takes lines with their markers, counts lines and pages, puts header and
// footer texts where they belong, and gives what is left to a device.
//
// There is one. What is written while none is open is system error 45; opening an open one is 42,
// closing a closed one 43, a marker of no known name 5, a header or footer text of more than 1,000
// characters 44.

// Opens the channel with pages of so many lines, at least 1. The name is for those who look at the
// output while it is printed. The
// first channel of a program reads what the printer understands.
void channel_open(std::string_view name, int page_length, const OutputDevice& device);
bool channel_is_open();
// Returns the result of the device's close.
int channel_close();

// Text with markers in it.
void channel_write(std::string_view text);
// The same for text that is known to have no markers, and for a marker without operands.
void channel_write_plain(std::string_view text);
void channel_write_marker(Marker marker);

// While the channel is stopped, text written to it is dropped.
void channel_stop(bool stopped);

// Of the channel that is open, or was last.
int channel_page_length();

// Called for each number that the mask of a marker has no room for, with the total's number or 0
// for the page; null, as when a channel opens: nobody wants to know.
void channel_on_overflow(void (*told)(int total, std::string_view mask, double number));

// The sums that "UEBERTRAG," prints, by their numbers 1 to 4. They start at 0 when a channel opens.
void channel_add_total(int total, double number);

// ---- The commands that take printed output: the print spooler, the local print filter, a fax
// product. At most one of them is fed at a time, through the printer pipe. While a fax is fed, the
// pipe of the printer waits.

// Starts the command for a printer: "#" and a queue's name is the spooler's "lp -dQUEUE" (the name
// cut to 245 characters), anything else the filter's "dr NAME" (cut to 247). A printer that is open
// is closed first. 0, or the system's error number, ENOENT when PATH leads to no such command; then
// there is no pipe.
int open_printer(std::string_view name);
bool printer_is_open();

// The command line of a printer.
std::string printer_command(std::string_view name);

// Hands the bytes to the command as one piece. The error flag is 1 when there is no pipe, else 0:
// whether a command takes what it is given shows when it is closed, or in printer_takes_bytes.
void write_printer(std::string_view bytes, int& error_flag);

// False without a pipe, or when its command has stopped reading. The end of a command may go
// unnoticed until its status is asked for.
bool printer_takes_bytes();

// Ends the command's input and waits for the command. A command that was started while windows were
// on the screen has its messages (standard output and error) shown by the user interface then; any
// other writes them where this process does. Its exit status, 0 when none is open; 127
// means that the command processor found no such program.
int close_printer();

// Puts the fax product's print command in the printer's place: the first of its three places that
// has one. 0, or the system's error number: ENOENT when there is none, ENAMETOOLONG when the one
// that FAXROOT names has a path of more than 249 characters; then there is no pipe.
int open_fax();

// Ends the fax command like close_printer, and goes back to the printer that was open before.
int close_fax();

#pragma GCC visibility pop

}  // namespace marigold
