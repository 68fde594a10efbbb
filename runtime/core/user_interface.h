// The hook by which the runtime's lower floors reach the user, whether a screen exists or not.
//
// One process-wide record of functions. At the start of a process it holds the standard-error
// functions of this module. The window system sets its own functions when it starts and restores
// the default when it ends, and the system error report sets `fatal`. Texts are zero-terminated and
// belong to the caller. Texts may hold any bytes that files hold: each function makes control
// characters visible (on standard error only for a terminal).
#pragma once

#include <span>

namespace marigold {

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

// Returns the record in force. Code that changes a field restores it.
UserInterface& user_interface();

// Puts the standard-error functions back in all fields.
void user_interface_start();

// Raises a fatal system error through the record. Never returns, even if the function in place
// does.
[[noreturn]] void raise_fatal(int number);

}  // namespace marigold
