// SPDX-License-Identifier: GPL-3.0-or-later
// Collects the output of a list that goes to the screen: the printer's bytes in "DRUCK.TMP", and
// the display lines in "VIDEO.TMP", which the viewer (viewer.h) shows when the list is closed.
//
// Process-wide, one output at a time. Both files lie in the current directory; if another program's
// output or another user's files are there, they lie in a new directory below the one for temporary
// files. Lists hold data about people, so no other user may read the files. A lock holds them from
// their making to their removal: the viewer shows, and this module prints and removes, the files
// that it made, whatever becomes of the names.
//
// Output goes to the files in pieces of 64 KiB, so a full disk may show later than with the text
// that did not fit. Both files then begin again with a single line that reports the full disk;
// later output is dropped, and the viewer shows that line. No other operation here fails, and only
// a failed start is reported.
//
// A display line has up to 250 characters; later characters go to the printer's bytes but not to
// the display.
// from the printer's bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "runtime/platform/record_file.h"

namespace marigold::inner {

// Makes both files, in place of those that a dead program has left, and removes those of an earlier
// output. Returns 0, or the system's error number: then the user has seen a one-line message,
// neither file exists, and all output up to the next start is dropped.
int screen_output_start();

// Whether the output was given up since the start because a file could not be written.
bool screen_output_disk_full();

// Returns the columns of the output: 78, or the length of its longest line.
int screen_output_width();

// Appends to the printer's bytes.
void screen_output_bytes(std::string_view bytes);

// Appends to the display line. Drops blanks that follow backspaces (screen_output_backspaces).
void screen_output_text(std::string_view text);

// Takes as many blanks off the end of the display line as there are backspaces. For each remaining
// backspace drops one of the blanks that follow: a printer moves back over printed characters and
// forward again by blanks, up to the first character that is no blank.
void screen_output_backspaces(std::size_t count);

// Off counts only while a highlight is on. The end of a line ends all highlights.
void screen_output_highlight(bool on);

void screen_output_end_line();

// Ends the display with a line of end marks, after the text of the current line. The viewer can run
// afterwards. Does nothing if no output was started.
void screen_output_end();

// Return the files of the last ended output. The files are closed after their removal.
const RecordFile& screen_output_printer();
const RecordFile& screen_output_display();
// Returns the directory of the files; "" for the current one.
const std::string& screen_output_directory();

// Removes both files, also during an output. Returns 0, or the system's error number for the first
// file that could not be removed.
int screen_output_remove();

}  // namespace marigold::inner
