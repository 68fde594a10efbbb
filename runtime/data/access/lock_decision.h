// Decides how an operation goes on when another process has locked the file or record that it
// needs.
#pragma once

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"

namespace marigold {

// The caller's choice when an open or a read meets a lock. Other programs of the platform use the
// same numbers.
enum class LockWait {
  kTell = 0,         // show the user a message and give up
  kAsk = 1,          // the user decides; without a screen: report, wait a second, give up
  kTellAndWait = 2,  // report to the user and try again once a second until the lock is free
  kWait = 3,         // try again once a second, without a message
};

enum class LockPhase { kOpening = 0, kReading = 1 };

// Whether the caller tries again. Only kDataLocked leads to a further try; any other result is
// final. The function may wait for a second, or for the user. Messages name the file, or LOCK.$$$
// for a file that is not in the list of definitions.
bool lock_try_again(const DataFile& file, int result, LockWait wait, LockPhase phase);

}  // namespace marigold
