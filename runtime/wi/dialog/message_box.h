// Shows messages to the user: in the last row of the screen, and in a box in its middle. Both
// functions wait for a key and leave the screen as it was. They show control characters as ".".
// Only while the window system is active.
#pragma once

namespace marigold {

// Shows one line of at most 80 characters over all windows; needs no window. The help key names the
// help page on the line ("_BLONF_"; "" or null for none); the function shows the key if the user
// asks for help.
void message_line(const char* text, const char* help_key);

// Shows a text of any length, broken between words into lines of at most 60 characters, without the
// lines after the fifteenth. Keeps the text's own line ends.
void warning_box(const char* text);

// Reports that no help exists for this help key.
void help_show(const char* help_key);

}  // namespace marigold
