// The locks of the path classes: which processes work in a data directory.
//
// Class n, 0 to 30, is locked by holding the file "lock.$$$" in its data directory open, shared by
// every process that uses files of the class, exclusively by one that must be alone there. Only in
// multi-user operation (Settings::multi_user): otherwise nothing here touches the disk.
// Process-wide table; a class is held once, however often it is taken. Locks and releases go into
// the program status file. A class outside 0 to 30 is system error 64.
//
// While a class is held, a record in its lock file says who holds it; docs/formats/lock-file.md.
#pragma once

#include <string>
#include <vector>

#include "marigold/data.h"  // IWYU pragma: export

namespace marigold {

// Forgets and closes all lock files without a trace in the status file.
void path_lock_start();

struct LockHolder {
  long process = 0;  // 0: not known (yet)
  std::string host;
  bool exclusive = false;
};

// Who holds a class at this moment, this process included; also without multi-user operation. A
// class without a lock file is held by nobody. 0, or the system's error number. On a network file
// system only as far as it passes locks on.
int lock_file_holders(int path_class, std::vector<LockHolder>& holders);

}  // namespace marigold
