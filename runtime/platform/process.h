// The process itself.
#pragma once

namespace marigold {

// Its number. A child that was forked has another one than the process whose memory it has
// inherited.
long process_number();

}  // namespace marigold
