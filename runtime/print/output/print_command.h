// The commands that take printed output: the print spooler, the local print filter, a fax product.
//
// Process-wide: at most one of them is being fed, through the printer pipe. While a fax is, the
// printer's pipe waits behind it.
#pragma once

#include <string>
#include <string_view>

namespace marigold {

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

}  // namespace marigold
