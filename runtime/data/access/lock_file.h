// The locks of the path classes: they show the processes that work in a data directory.
//
// A process locks class n, 0 to 30, while it holds the file "lock.$$$" in the class's data
// directory open: shared if it uses files of the class, exclusively if it must be alone there.
// Locks exist only in multi-user operation (Settings::multi_user); otherwise taking a lock does not
// touch the disk. The table is process-wide; a process holds a class once, however often it takes
// the class. The program status file records locks and releases. A class outside 0 to 30 is system
// error 64.
//
// While a process holds a class, a record in the lock file names the process; see
// docs/formats/lock-file.md.
#pragma once

#include <string>
#include <vector>

#include "runtime/data/access/data_result.h"

namespace marigold {

// Closes and forgets all lock files and writes nothing to the status file.
void path_lock_start();

// Takes the class for this process alone and gives a shared lock back first. Returns 0. Returns 4
// when other processes have the class and the user decides not to wait (LockWait::kAsk); the
// process then holds no lock of the class.
int path_lock_exclusive(int path_class);

// Takes the class shared and gives an exclusive lock back first. Waits until the lock is free and
// reports that to the user (LockWait::kTellAndWait). Returns 0.
int path_lock_shared(int path_class);

// Takes the class shared if the lock is free, without a message: 0, else 4.
int path_lock_try_shared(int path_class);

// Takes the classes of all defined files shared, in the order of the files' names.
void path_lock_all_defined();

void path_lock_release(int path_class);
void path_lock_release_all();

struct LockHolder {
  long process = 0;  // 0: not known (yet)
  std::string host;
  bool exclusive = false;
};

// Gives the present holders of a class, this process included, also without multi-user operation. A
// class without a lock file has no holder. Returns 0, or the system's error number. On a network
// file system the list has only the holders whose locks the file system passes on.
int lock_file_holders(int path_class, std::vector<LockHolder>& holders);

}  // namespace marigold
