// The process itself.
#pragma once

#include <string>

namespace marigold {

// Its number. A child that was forked has another one than the process whose memory it has
// inherited.
long process_number();

// The name of the machine that it runs on, without its domain; "" when the system does not tell.
std::string host_name();

}  // namespace marigold
