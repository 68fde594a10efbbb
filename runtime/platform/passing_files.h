// Files, and empty directories, that nobody needs without the process that made them: they are
// removed when it exits, when a signal asks it to end (interrupt, termination, hang-up), and when
// it gives up (abort).
//
// For processes of one thread.
#pragma once

namespace marigold {

// From now on; four files at most, further ones stay. They go in the order in which they were
// noted: a directory after what lies in it. The path must live as long as it is noted, and mean the
// same file then. A signal that is ignored, or that the program handles itself, does not remove
// anything: the process goes on.
void passing_file_note(const char* path);
void passing_file_forget(const char* path);

// Removes them, in the process that noted them. For handlers of signals that end it, where it is
// safe to call.
void passing_files_remove();

}  // namespace marigold
