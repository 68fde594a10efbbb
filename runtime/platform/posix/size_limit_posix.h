// SPDX-License-Identifier: GPL-3.0-or-later
// Makes a write beyond the process's limit on file sizes (ulimit -f) an ordinary error, EFBIG, that
// does not end the process.
#pragma once

namespace marigold::inner {

// Call it before a file is opened for writing. A program that has a handler for SIGXFSZ, or ignores
// the signal, keeps its setting; programs started from here begin with the default.
void survive_size_limit();

}  // namespace marigold::inner
