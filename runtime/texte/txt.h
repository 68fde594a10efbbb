// The open text databases of the process: at most ten, shared by all who ask for the same name in
// the same language.
//
// A database is a pair of files NAME.pag and NAME.dir, looked for along LANGUAGE_SEARCHPATH. A
// handle is the number of its slot, 0 to 9; -1 means no database. Ids and texts are
// zero-terminated.
#pragma once

#include <string_view>

#include "runtime/core/text_buffer.h"

namespace marigold {

inline constexpr int kTextSlots = 10;

// What one entry of the system message catalogue holds; a longer text is cut.
using SystemText = TextBuffer<255>;

// Closes what is open and forgets it, as at the start of the process.
void txt_start();

// Opens a database, or counts one more user of one that is open under this language and name; then
// nothing is searched. A null language means that of the settings, which the first call in a
// process reads. Returns the handle, or -1:
//   - without a message when no element of the search path yields a readable file;
//   - with "txt_open(): too many databases" on standard error when all slots are taken;
//   - with the path and the system's reason on standard error when the file is no store that can be
//     opened.
// A found path of more than 250 characters, ".pag" not counted, is system error 38.
int txt_open(const char* language, const char* name);

// Gives one use of a database back; the last one closes it. Any other handle is ignored.
void txt_close(int handle);

// The text of an id, or null for an unknown id or handle. The next fetch from any database releases
// the text: copy it first. A damaged store ends the process (see text_store.h).
const char* txt_fetch(int handle, const char* id);

// The database from which the system message catalogue is filled: the language's "textdb", under
// the prefix "SYSDEF.". The name given is not used.
void txt_open_sysdef(const char* name);
void txt_close_sysdef();

// Copies the text stored for a catalogue key, or else the given one.
void txt_sysdef_text(SystemText& destination, const char* key, std::string_view fallback);

// Copies the first character of the text stored for a catalogue key, or else the given one. An
// empty text gives the zero byte: no character.
void txt_sysdef_char(char& destination, const char* key, char fallback);

}  // namespace marigold
