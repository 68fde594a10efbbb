// SPDX-License-Identifier: GPL-3.0-or-later
// Operations on the runtime's own strings (RuntimeString).
#pragma once

#include "marigold/core.h"  // IWYU pragma: export

namespace marigold::inner {

// The longest text that the length routine accepts: one less than the buffer holds, so that a
// buffer that was filled to its end is noticed.
inline constexpr int kLongestString = 249;

// Returns the length in characters, 0 to 249. A longer string is system error 17, and the function
// does not return.
int st_length(const char* text);

// Returns the capital letter of a letter of ISO 8859-1, national letters included. Returns any
// other character unchanged, and also the two small letters without a capital in this set (sharp s
// and y with diaeresis).
char st_upper(char character);

}  // namespace marigold::inner
