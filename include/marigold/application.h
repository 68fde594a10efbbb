// SPDX-License-Identifier: GPL-3.0-or-later
// The runtime of a full application with windows: one call at its start and one at its end.
#pragma once

#include <string>

#include "marigold/texts.h"    // IWYU pragma: export
#include "marigold/windows.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// Starts everything, in this order: the standard streams, the user interface on standard error, the
// report of system errors, the settings from the environment, the system message catalogue, the
// terminal, the windows with the user interface's functions and the keys that they serve, and the
// program status file under the program's name. Afterwards the program loads its definition sets
// (definition_set_load, data.h) and its own texts (textdb_setup, texts.h).
//
// Without a terminal the function says so on standard error and ends the process with status 1.
void runtime_start(const char* program);

// Closes the open parts: a list, whose last page reaches the printer (but no viewer is shown), or
// the output of a program that prints without one, data files, path locks, windows and terminal,
// and the program status file (with a normal end). A part that is not open is passed over, so a
// second call does nothing.
void runtime_end();

// Gives the terminal back and writes a sentence of the language to standard error, where it stays
// below the screen: why the application cannot begin, or go on. In the characters of the terminal,
// with control characters made visible.
void runtime_tell(const std::string& sentence);

// A system error ends the process with a report for those who maintain the application. From now on
// the text of this id (textdb_filled, texts.h) stands before the report and advises the operator;
// its "%s" takes the reason. Null, as after runtime_start, for no text. The id outlives its use.
void runtime_explain_faults(const char* id);

#pragma GCC visibility pop

}  // namespace marigold
