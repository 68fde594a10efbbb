// SPDX-License-Identifier: GPL-3.0-or-later
// The process itself.
#pragma once

#include <string>
#include <vector>

namespace marigold::inner {

// Returns the number of the process. A forked child has another number than its parent.
long process_number();

struct LockingProcess {
  long number = 0;
  bool exclusive = false;
  bool operator==(const LockingProcess&) const = default;
};

// Returns the other processes that hold a lock on a byte of the file, in the order of their
// numbers, each once. The list has only the processes that the system shows: mostly those of the
// same user, and all of them to root; some systems show none.
std::vector<LockingProcess> processes_locking(const char* path);

// Whether another process holds a lock on a byte of the file. Where the system shows no holders:
// whether any process has the file open.
bool is_file_in_use(const char* path);

// Returns the name of the machine without its domain; "" if the system does not give the name.
std::string host_name();

}  // namespace marigold::inner
