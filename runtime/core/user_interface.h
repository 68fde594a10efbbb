// How the runtime's lower floors reach the person at the screen without knowing whether there is a
// screen.
//
// One record of functions, process-wide. At the start of a process it holds the standard-error
// functions of this module; the window system puts its own in place when it starts and gives the
// default back when it ends, and the system error report takes over `fatal`. Texts are
// zero-terminated and belong to the caller. They may hold anything that files hold: whoever shows
// them makes control characters visible (on standard error: when that is a terminal).
#pragma once

#include <span>

namespace marigold {

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

// The record in force. Who changes a field restores it.
UserInterface& user_interface();

// Puts the standard-error functions back in all fields.
void user_interface_start();

// Raises a fatal system error through the record. Never returns, whatever the function in place
// does.
[[noreturn]] void raise_fatal(int number);

}  // namespace marigold
