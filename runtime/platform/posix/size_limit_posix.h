// Writing behind the longest length that the process may give a file (ulimit -f) is an error like
// others, EFBIG, and not the end of the process.
#pragma once

namespace marigold {

// Sees to that before a file is opened for writing. A program that has a handler for SIGXFSZ, or
// ignores it, keeps what it has; programs that are started from here begin with the default.
void survive_size_limit();

}  // namespace marigold
