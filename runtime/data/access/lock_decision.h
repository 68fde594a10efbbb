// What happens when another process has locked a file or a record that is wanted.
#pragma once

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"

namespace marigold {

enum class LockPhase { kOpening = 0, kReading = 1 };

// Whether to try again. Looks at nothing but kDataLocked: any other result is final. May wait for a
// second, or for the user. The file is called by its name, or LOCK.$$$ if it is not a defined file.
bool lock_try_again(const DataFile& file, int result, LockWait wait, LockPhase phase);

}  // namespace marigold
