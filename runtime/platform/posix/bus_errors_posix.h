// The process's one handler of SIGBUS, which comes when a page of a mapped file cannot be had: the
// file has been cut, the disk is full where the page would have to be written, or it cannot be
// read. It is put up while somebody here maps files, for all of them, and hands everything else to
// the handler that was there before.
#pragma once

namespace marigold {

// Counted. A handler that a program puts in the place of this one stays, and is expected to hand on
// what is not its own.
void bus_errors_watch();
void bus_errors_release();

}  // namespace marigold
