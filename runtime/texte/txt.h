// SPDX-License-Identifier: GPL-3.0-or-later
// The open text databases of the process: at most ten. All users of one name and language share a
// database.
//
// A database is a pair of files NAME.pag and NAME.dir, found along LANGUAGE_SEARCHPATH. A handle is
// the number of its slot, 0 to 9; -1 means no database. Ids and texts are zero-terminated.
#pragma once

#include <string_view>

#include "marigold/texts.h"  // IWYU pragma: export

namespace marigold::inner {

// Closes what is open and forgets it, as at the start of the process.
void txt_start();

// The database from which the system message catalogue is filled: the language's "textdb", under
// the prefix "SYSDEF.". The name given is not used.
void txt_open_sysdef(const char* name);
void txt_close_sysdef();

// Copies the text stored for a catalogue key, or else the fallback.
void txt_sysdef_text(SystemText& destination, const char* key, std::string_view fallback);

// Copies the first character of the text stored for a catalogue key, or else the fallback. An empty
// text gives the zero byte: no character.
void txt_sysdef_char(char& destination, const char* key, char fallback);

}  // namespace marigold::inner
