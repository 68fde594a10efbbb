// SPDX-License-Identifier: GPL-3.0-or-later
// Ends the process when a data operation fails and neither program nor user can resolve the
// failure.
#pragma once

#include <string>

namespace marigold::inner {

// Returns the engine's reason, if the engine's last operation has failed with this number and its
// number alone says too little; else "".
std::string engine_reason(int error);

// Writes "\nstr: %s\n" with the name of the operation or file to standard error, then a line with
// the engine's reason if there is one, and raises the system error: the engine's numbers (from 100)
// unchanged, the operating system's with 1000 added. An empty name stands for the current operation.
[[noreturn]] void data_fatal(const char* name, int error);

}  // namespace marigold::inner
