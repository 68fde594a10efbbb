// The end of a process whose data operation failed in a way that nobody can resolve.
#pragma once

namespace marigold {

// Writes "\nstr: %s\n" with the name of the operation or file to standard error and raises the
// system error: the engine's numbers (from 100) as they are, the operating system's with 1000
// added. An empty name stands for the current operation.
[[noreturn]] void data_fatal(const char* name, int error);

}  // namespace marigold
