// What the user is told: in the last row of the screen, and in a box in its middle. Both wait for a
// key and leave the screen as it was. Control characters are shown as ".". Only while the window
// system is active.
#pragma once

namespace marigold {

// One line of at most 80 characters, over all windows; it needs none itself. The help key names the
// help page on it ("_BLONF_"; "" or null for none) and is told when the user asks for help.
void message_line(const char* text, const char* help_key);

// Text of any length, broken between words into lines of at most 60 characters; what goes beyond
// fifteen lines is left out. Line ends stand for themselves.
void warning_box(const char* text);

// What the help key gives: that there is no help for this.
void help_show(const char* help_key);

}  // namespace marigold
