// The process itself.
#pragma once

#include <string>
#include <vector>

namespace marigold {

// Its number. A child that was forked has another one than the process whose memory it has
// inherited.
long process_number();

struct LockingProcess {
  long number = 0;
  bool exclusive = false;
  bool operator==(const LockingProcess&) const = default;
};

// The other processes that hold a lock on a byte of the file, by their numbers, each once. Only as
// far as the system tells: mostly those of the same user, and all of them to root; none where it
// does not tell at all.
std::vector<LockingProcess> processes_locking(const char* path);

// The name of the machine that it runs on, without its domain; "" when the system does not tell.
std::string host_name();

}  // namespace marigold
