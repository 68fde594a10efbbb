// SPDX-License-Identifier: GPL-3.0-or-later
// Collects what a list prints when it goes to the screen: the printer's bytes in "DRUCK.TMP", and
// the display lines in "VIDEO.TMP", which the viewer (viewer.h) shows when the list is closed.
//
// Process-wide, one output at a time. Both files lie in the current directory; where another
// program has its own there, or somebody else's are in the way, in a new directory below the one
// for temporary files. They hold what a list says of people, so nobody else may read them, and they
// are held by a lock from their making to their removal: what is looked at, printed and removed is
// what was made, whatever becomes of the names.
//
// They are written in pieces of 64 KiB, so a full disk can be met later than the text that did not
// fit. Then both are begun again and hold nothing but a line that says so; whatever comes
// afterwards is dropped, and the viewer shows that line. Nothing here fails otherwise, and nothing
// but a failed start is told.
//
// A display line has up to 250 characters; what goes beyond them is dropped from the display, not
// from the printer's bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "runtime/platform/record_file.h"

namespace marigold {

// Makes both files, in the place of what a program that is gone has left, and removes those of an
// earlier output. 0, or the
// system's error number: then the user has been told by a one-line message, neither file is there,
// and everything up to the next start is dropped.
int screen_output_start();

// Whether the output was given up since the start because a file could not be written.
bool screen_output_disk_full();

// Columns of the output: 78, or the length of its longest line.
int screen_output_width();

// Appends to the printer's bytes.
void screen_output_bytes(std::string_view bytes);

// Appends to the display line. Blanks that backspaces have announced are dropped.
void screen_output_text(std::string_view text);

// Backspaces, so many: takes as many blanks off the end of the display line. For each one that is
// left over, one of the blanks that follow is dropped: a printer goes back over what stands there
// and comes forward again by blanks, up to the first character that is none.
void screen_output_backspaces(std::size_t count);

// Off counts only while a highlight is on. The end of a line ends all highlights.
void screen_output_highlight(bool on);

void screen_output_end_line();

// Ends the display with a line of end marks, behind what the current line holds. The viewer can be
// run now. Without effect when nothing was started.
void screen_output_end();

// The files of the last output that was ended, until they are removed; then they are not open.
const RecordFile& screen_output_printer();
const RecordFile& screen_output_display();
// Where they lie: "" for the current directory, else a path with a slash at its end.
const std::string& screen_output_directory();

// Removes both files, also in the midst of an output. 0, or the system's error number for the first
// file that is still there.
int screen_output_remove();

}  // namespace marigold
