// SPDX-License-Identifier: GPL-3.0-or-later
// Texts that a program or the runtime shows on the screen, by their ids in the program's text
// database.
#pragma once

#include <string>
#include <vector>

#include "marigold/texts.h"  // IWYU pragma: export

namespace marigold::inner {

// Returns the text of the id under the module prefix, else of the bare id, else the id itself. An
// empty text for null.
std::string screen_text(const char* id);

// Returns the text of the id, or the built-in one for a database without it.
std::string screen_text_or(const char* id, const char* built_in);

// Returns the text with the next of the values for each "%s"; one without a value stays.
std::string with_values(std::string text, TextValues values);

// Asks the user a question to be answered by the texts "NO" and "YES". Returns whether it was yes.
bool screen_confirm(const std::string& question);

// Returns the lines of a longer text: the text of the id, or those of the id and "+", of "+1",
// "+2" and so on after it. Empty if there is no text.
std::vector<std::string> screen_text_lines(const char* id);

}  // namespace marigold::inner
