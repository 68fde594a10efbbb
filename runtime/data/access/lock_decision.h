// SPDX-License-Identifier: GPL-3.0-or-later
// Decides how an operation goes on when another process has locked the file or record that it
// needs.
#pragma once

#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/data_result.h"

namespace marigold::inner {

enum class LockPhase { kOpening = 0, kReading = 1 };

// Whether the caller tries again. Only kDataLocked leads to a further try; any other result is
// final. The function may wait for a second, or for the user. Messages name the file, or LOCK.$$$
// for a file that is not in the list of definitions.
bool lock_try_again(const DataFile& file, int result, LockWait wait, LockPhase phase);

}  // namespace marigold::inner
