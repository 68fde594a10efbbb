// What happens when another process has locked a file or a record that is wanted.
#pragma once

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"

namespace marigold {

// What whoever opens or reads wants done then. The numbers are those of the platform's programs.
enum class LockWait {
  kTell = 0,         // tell the user and give up
  kAsk = 1,          // the user decides; without a screen: tell, wait a second, give up
  kTellAndWait = 2,  // tell the user, for as long as it takes, once a second
  kWait = 3,         // wait without a word, looking once a second
};

enum class LockPhase { kOpening = 0, kReading = 1 };

// Whether to try again. Looks at nothing but kDataLocked: any other result is final. May wait for a
// second, or for the user. The file is called by its name, or LOCK.$$$ if it is not a defined file.
bool lock_try_again(const DataFile& file, int result, LockWait wait, LockPhase phase);

}  // namespace marigold
