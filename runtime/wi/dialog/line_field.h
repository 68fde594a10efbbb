// SPDX-License-Identifier: GPL-3.0-or-later
// A line of text that the user edits in a window: what the input fields and forms have in common.
#pragma once

#include "marigold/windows.h"
#include "runtime/wi/dialog/line_editor.h"

namespace marigold::inner {

// Shows the visible part of the line, with the attribute, and the cursor in it.
void line_field_show(const FieldPlace& place, const LineEditor& line, const char* attribute);

// Shows the line and applies keys to it until the user presses one that is not the editor's.
// Returns the code of that key; never a key that calls a debug display or statistics. A character
// without room leads to a message.
int line_field_run(const FieldPlace& place, LineEditor& line, const char* attribute);

}  // namespace marigold::inner
