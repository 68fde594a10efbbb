// Who may have a file open at the same time: locks of single bytes, which a process that dies gives
// back.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::isam {

// Takes the use lock as the file is to be opened, and that of this run of the machine. 113 when
// somebody has the file in a way that excludes this one.
int take_use_lock(File& file);

// The memory of two machines does not follow each other's changes, whatever a network file system
// says of their locks: only processes of one run have a file open.
int take_run_lock(File& file);

// A place of our own, which tells others that we live. The word of one who died in this place is
// his, not ours.
int take_seat(File& file);

}  // namespace marigold::isam
