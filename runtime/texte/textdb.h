// The program's own text database: "textdb" of the user's language. A key without a text serves as
// its own text.
#pragma once

#include <string>

namespace marigold {

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

}  // namespace marigold
