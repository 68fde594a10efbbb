// SPDX-License-Identifier: GPL-3.0-or-later
// Removes temporary files and empty directories when the process that made them exits, when a
// signal asks it to end (interrupt, termination, hang-up), and when it aborts.
//
// For processes of one thread.
#pragma once

namespace marigold::inner {

// Notes a path for removal, four paths at most; further ones stay. They are removed in the order in
// which they were noted, so note a directory after its files. The path must stay valid while it is
// noted, and name the same file. A signal that the program ignores or handles itself removes
// nothing, because the process goes on.
void passing_file_note(const char* path);
void passing_file_forget(const char* path);

// Removes the noted files, in the process that noted them. Safe to call in handlers of signals that
// end the process.
void passing_files_remove();

}  // namespace marigold::inner
