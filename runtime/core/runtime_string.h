// The runtime's own strings: at most 250 characters of ISO 8859-1 and a zero byte.
#pragma once

#include <cstddef>

#include "runtime/core/text_buffer.h"

namespace marigold {

// Length of the buffer that the layouts of the runtime's files and tables have, without its zero
// byte: 251 bytes in all.
inline constexpr std::size_t kRuntimeStringCapacity = 250;
using RuntimeString = TextBuffer<kRuntimeStringCapacity>;

// The longest string that st_length accepts: one less than the buffer holds, so that st_length
// notices a buffer filled to its end.
inline constexpr int kLongestString = 249;

// Returns the length in characters, 0 to 249. A longer string is system error 17, and the function
// does not return.
int st_length(const char* text);

// Returns the capital letter of a letter of ISO 8859-1, national letters included. Returns any
// other character unchanged, and also the two small letters without a capital in this set (sharp s
// and y with diaeresis).
char st_upper(char character);

}  // namespace marigold
