// SPDX-License-Identifier: GPL-3.0-or-later
// The process's one handler of SIGBUS, the signal for a missing page of a mapped file: another
// process has cut the file, the disk is full, or the page cannot be read. The handler is set while
// any object maps files, and passes a SIGBUS for any other page to the earlier handler.
#pragma once

namespace marigold::inner {

// Calls are counted. A handler that a program sets later stays, and should pass on the signals that
// are not its own.
void bus_errors_watch();
void bus_errors_release();

}  // namespace marigold::inner
