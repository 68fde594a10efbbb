// SPDX-License-Identifier: GPL-3.0-or-later
// The locks of the path classes: they show the processes that work in a data directory.
//
// A process locks class n, 0 to 30, while it holds the file "lock.$$$" in the class's data
// directory open: shared if it uses files of the class, exclusively if it must be alone there.
// Locks exist only in multi-user operation (Settings::multi_user); otherwise taking a lock does
// not touch the disk. The table is process-wide; a process holds a class once, however often it
// takes the class. The program status file records locks and releases. A class outside 0 to 30 is
// system error 64.
//
// While a process holds a class, a record in the lock file names the process; see
// docs/formats/lock-file.md. In a cluster the server names the processes.
#pragma once

#include <string>
#include <vector>

#include "marigold/data.h"  // IWYU pragma: export

namespace marigold::inner {

// Closes and forgets all lock files and writes nothing to the status file.
void path_lock_start();

struct LockHolder {
  long process = 0;  // 0: not known (yet)
  std::string host;
  bool exclusive = false;
};

// Gives the present holders of a class, this process included, also without multi-user operation.
// A class without a lock file has no holder. Returns 0, or the number of the system or the engine.
// On a network file system the list has only the holders whose locks the file system passes on.
int lock_file_holders(int path_class, std::vector<LockHolder>& holders);

}  // namespace marigold::inner
