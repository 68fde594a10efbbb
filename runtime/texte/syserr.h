// SPDX-License-Identifier: GPL-3.0-or-later
// Fatal system errors: reports an unrecoverable condition by its number.
//
//   1 to 69        the condition of that number, see the catalogue entries syserr_1 to syserr_69
//   100 to 999     the keyed-file engine's error; one text for all
//   1000 to 9999   1000 + the operating system's error number; one text for all
//   any other      unknown
#pragma once

#include "marigold/texts.h"  // IWYU pragma: export

namespace marigold::inner {

// Sets syserr_fatal as the function that the lower floors reach through raise_fatal. Call it before
// the settings are read, because that can fail.
void syserr_start();

}  // namespace marigold::inner
