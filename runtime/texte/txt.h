// The open text databases of the process: at most ten. All users of one name and language share a
// database.
//
// A database is a pair of files NAME.pag and NAME.dir, found along LANGUAGE_SEARCHPATH. A handle is
// the number of its slot, 0 to 9; -1 means no database. Ids and texts are zero-terminated.
#pragma once

#include <string_view>

#include "runtime/core/text_buffer.h"

namespace marigold {

inline constexpr int kTextSlots = 10;

// Text of an entry of the system message catalogue; a longer text is cut.
using SystemText = TextBuffer<255>;

// Closes and forgets all open databases, as at the start of the process.
void txt_start();

// Opens a database. If it is open under this language and name already, counts one more user and
// searches for nothing. A null language means that of the settings, which the first call in a
// process reads. Returns the handle, or -1:
//   - without a message if no element of the search path leads to a readable file;
//   - with the message "txt_open(): too many databases" if all slots are taken;
//   - with the path and the system's reason as a message if the file cannot be opened as a store.
// Messages go through the user interface hook (user_interface.h). A path of more than 250
// characters, ".pag" not counted, is system error 38.
int txt_open(const char* language, const char* name);

// Gives one use of a database back; the last one closes the database. Ignores any other handle.
void txt_close(int handle);

// Returns the text of an id, or null for an unknown id or handle. The next fetch from any database
// releases the text: copy it first. A damaged store ends the process (see text_store.h).
const char* txt_fetch(int handle, const char* id);

// Open and close the database that fills the system message catalogue: the language's "textdb",
// under the prefix "SYSDEF.". The name has no effect.
void txt_open_sysdef(const char* name);
void txt_close_sysdef();

// Copies the text stored for a catalogue key, or else the fallback.
void txt_sysdef_text(SystemText& destination, const char* key, std::string_view fallback);

// Copies the first character of the text stored for a catalogue key, or else the fallback. An empty
// text gives the zero byte: no character.
void txt_sysdef_char(char& destination, const char* key, char fallback);

}  // namespace marigold
