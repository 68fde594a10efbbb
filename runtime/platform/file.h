// Files by their names.
//
// Results: 0 for done, else the system's error number. Nothing here prints or waits.
#pragma once

namespace marigold {

// Whether the path names a regular file that this process may read. Links are followed. A
// directory, a pipe or a device does not count, and looking at one never waits for its other end.
bool file_readable(const char* path);

// Gives the file of the first name the second name, in one step: whoever opens the second name sees
// the whole old file or the whole new one, also after a crash. Both lie on one file system. On
// failure both files are as before.
int file_replace(const char* from, const char* to);

// Hands what the file holds to the disk and waits until it is there.
int file_sync(const char* path);

// Removes a file; one that is not there counts as removed.
int file_remove(const char* path);

}  // namespace marigold
