// SPDX-License-Identifier: GPL-3.0-or-later
// Printed output: its devices, the print commands, and the output channel for programs that print
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

// Destination of the output. `text` gets printable characters and backspaces, which come apart from
// them, in pieces of at most 250; `control` gets the markers of pitches and bold.
struct OutputDevice {
  void (*text)(std::string_view text);
  void (*control)(Marker marker);
  void (*end_line)();
  void (*end_page)();
  // Ends the output. Returns 0, or the number of the system error or the command's status that is
  // the reason why the output is not complete.
  int (*close)();
};

// The printer pipe (open_printer), with the control strings of the defaults. Its close returns 1 if
// there was no pipe to write to, or if the pipe's command has stopped reading.
extern const OutputDevice kPrinterDevice;

// ---- The print file: what a list is printed into instead of the printer or the screen
// (list_to_device). There is one at a time. It is put in place when it is whole, so that no program
// sees half of it, and not at all after a failure. The file does not know whether a list was
// aborted: call print_file_fail before list_close then (list_check_abort), or the file holds the
// part that was printed. While a file is open, signals that ask the process to end wait for its
// close.

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

// ---- The output channel: takes lines with their markers, counts lines and pages, inserts header
// and footer texts, and passes the rest to a device.
//
// A process has one channel. Writing without an open channel is system error 45; opening an open
// channel is 42, closing a closed one 43, a marker of no known name 5, a header or footer text of
// more than 1,000 characters 44.

// Opens the channel with pages of so many lines, at least 1. The name is the one that users see
// when they look at the output during printing. The first channel of a program reads the printer
// defaults.
void channel_open(std::string_view name, int page_length, const OutputDevice& device);
bool channel_is_open();
// Returns the result of the device's close.
int channel_close();

// Writes text with markers in it.
void channel_write(std::string_view text);
// Write text without markers, and a marker without operands.
void channel_write_plain(std::string_view text);
void channel_write_marker(Marker marker);

// While the channel is stopped, it drops text written to it.
void channel_stop(bool stopped);

// Returns the page length of the open channel, or of the last one.
int channel_page_length();

// Sets the function that the channel calls for each number that has no room in the mask of its
// marker, with the total's number, or 0 for the page number; null, as when a channel opens, for
// none.
void channel_on_overflow(void (*told)(int total, std::string_view mask, double number));

// Adds to a sum that "UEBERTRAG," prints; sums have the numbers 1 to 4 and start at 0 when a
// channel opens. Any other number is system error 5.
void channel_add_total(int total, double number);

// ---- The commands that take printed output: the print spooler, the local print filter, a fax
// product. The printer pipe feeds at most one of them at a time. While it feeds a fax, the pipe of
// the printer waits.

// Starts the command for a printer: "#" and a queue's name is the spooler's "lp -dQUEUE" (the name
// cut to 245 characters), anything else the filter's "dr NAME" (cut to 247). Closes an open printer
// first. Returns 0, or the system's error number, ENOENT when PATH leads to no such command; then
// no pipe is open.
int open_printer(std::string_view name);
bool printer_is_open();

// Returns the command line of a printer.
std::string printer_command(std::string_view name);

// Passes the bytes to the command as one piece. Sets the error flag to 1 without a pipe, else to 0.
// printer_takes_bytes, or the status at the close, shows whether the command has taken the bytes.
void write_printer(std::string_view bytes, int& error_flag);

// False without a pipe, or when its command has stopped reading. The end of a command may go
// unnoticed until close_printer asks for its status.
bool printer_takes_bytes();

// Ends the command's input and waits for the command. If the command was started while windows were
// on the screen, the user interface shows its messages (standard output and error) then; otherwise
// the command writes them where this process does. Returns the command's exit status, 0 if none is
// open; 127 means that the command processor found no such program.
int close_printer();

// Starts the fax product's print command in the printer's place: the first of three places that has
// one. Returns 0, or the system's error number: ENOENT without such a command, ENAMETOOLONG when
// the path under FAXROOT has more than 249 characters; then no pipe is open.
int open_fax();

// Ends the fax command like close_printer, and returns to the printer that was open before.
int close_fax();

#pragma GCC visibility pop

}  // namespace marigold
