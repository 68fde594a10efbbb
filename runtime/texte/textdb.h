// The program's own text database: "textdb" of the user's language. Where it has no text, the key
// itself is the text.
#pragma once

#include <string>

namespace marigold {

// Opens the database of the settings' language. A missing one is shown as a warning ("Unable to
// locate application default file: textdb") and the run goes on: every lookup then gives its key.
// With the database open the module name, and a point behind it, becomes the prefix of
// textdb_module_text.
void textdb_setup(const char* module);

// Puts the text of a key, whole, or else the key into the output, and returns the output.
std::string& textdb_text(std::string& output, const char* key);

// The same for the text stored under the module prefix and the key; the fall-back is the bare key.
std::string& textdb_module_text(std::string& output, const char* key);

}  // namespace marigold
