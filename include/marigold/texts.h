// SPDX-License-Identifier: GPL-3.0-or-later
// Texts and messages: text databases, the search for files of a language, system errors.
//
// A console program begins with texte_start and looks texts up by textdb_text. Process-wide, one
// thread; nothing throws.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold {

#pragma GCC visibility push(default)

// ---- The start

// Starts what a console program needs for texts, in this order: the standard streams (a reader that
// goes away becomes a failed write), the report of system errors, the settings from the
// environment, the system message catalogue, and the text database of the program for this module
// (textdb_setup). A null module opens none, for programs without texts of their own. Called once,
// before anything else of the runtime; an application with windows calls runtime_start
// (application.h) instead. A value of the environment of 250 characters or more is system error 17
// and does not return.
void texte_start(const char* module = "");

// ---- The text database of the program: "textdb" of the user's language. A key without a text
// serves as its own text.

// Opens the database of the settings' language. A missing database leads to a warning ("Unable to
// locate application default file: textdb") and the program goes on: every lookup then gives its
// key. With an open database the module name and a point after it become the prefix of
// textdb_module_text.
void textdb_setup(const char* module);

// Puts the whole text of a key, or else the key, into the output, and returns the output.
std::string& textdb_text(std::string& output, const char* key);

// Puts the text under the module prefix and the key, or else the bare key, into the output, and
// returns the output.
std::string& textdb_module_text(std::string& output, const char* key);

// Returns the text under the module prefix, or else under the bare id, or else the id itself; each
// "%s" of the text takes the next of the values. A "%s" without a value stays.
std::string textdb_filled(const char* id, std::initializer_list<std::string_view> values = {});

// ---- Any text database. At most ten are open at once. All users of one name and language share a
// database.
//
// A database is a pair of files NAME.pag and NAME.dir, found along LANGUAGE_SEARCHPATH. A handle is
// the number of its slot, 0 to 9; -1 means no database. Ids and texts are zero-terminated.

inline constexpr int kTextSlots = 10;

// Text of an entry of the system message catalogue; a longer text is cut.
using SystemText = TextBuffer<255>;

// Opens a database. If it is open under this language and name already, counts one more user and
// searches for nothing. A null language means that of the settings, which the first call in a
// process reads. Returns the handle, or -1:
//   - without a message if no element of the search path leads to a readable file;
//   - with "txt_open(): too many databases" as a message if all slots are taken;
//   - with the path and the system's reason as a message if the file cannot be opened as a store.
// Messages go through the user interface hook (core.h). A path of more than 250 characters, ".pag"
// not counted, is system error 38.
int txt_open(const char* language, const char* name);

// Gives one use of a database back; the last one closes the database. Ignores any other handle.
void txt_close(int handle);

// Returns the text of an id, or null for an unknown id or handle. The next fetch from any database
// releases the text: copy it first. A damaged store ends the process: "gdbm fatal: REASON." on
// standard error and status -1.
const char* txt_fetch(int handle, const char* id);

// ---- Files of a language
//
// A language identifier has the form language "_" territory "." code set ("english_us.8859"). A
// search path is a list of elements separated by ";". Placeholders in an element:
//
//   %l   the language          %t   the territory         %c   the code set
//   %L   the whole identifier  %N   the name of the file looked for
//
// The search tries elements from the left; the first one under which it can open a regular file for
// reading wins. Paths and elements have up to 250 characters.

// Gives the path of the first element under which it finds the file, and returns 0. Without such a
// file the output is empty and the result -1.
int lang_find_file(RuntimeString& output, std::string_view name, std::string_view path_template,
                   std::string_view identifier);

// Searches as lang_find_file does, but gives the winning element with "%N" still in it, to find
// other files in the same place.
int lang_find_dir(RuntimeString& output, std::string_view name, std::string_view path_template,
                  std::string_view identifier);

// ---- Fatal system errors: reports an unrecoverable condition by its number.
//
//   1 to 69        the condition of that number
//   100 to 999     an error of the keyed-file engine (isam.h); one text for all
//   1000 to 9999   1000 + the error number of the operating system; one text for all
//   any other      unknown

// Gives the catalogue's text for a number.
void syserr_text(SystemText& output, int number);

// Hands the terminal back and writes the report of five lines (label, number, text, two lines of
// advice) to standard error.
void syserr_show(int number);

// Writes the error end of the program status file, hands the terminal back, writes the report and
// aborts. No exit handler runs and nothing is flushed.
[[noreturn]] void syserr_fatal(int number);

// Ends the program status file normally, writes the report and returns.
void syserr_report(int number);

#pragma GCC visibility pop

}  // namespace marigold
