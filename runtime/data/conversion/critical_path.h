// The critical paths of an application: the data directories whose contents must have the right
// version before it works with them.
//
// Process-wide table of up to 5 entries, numbered from 1, each naming a data directory. The check
// leaves the class of each directory locked shared (in multi-user operation), so that no conversion
// can begin under the application.
#pragma once

#include <string_view>

namespace marigold {

inline constexpr int kCriticalPaths = 5;

// What the check has found. The numbers are those of the platform's programs.
enum class CriticalPathState {
  kUnchecked = 0,         // without a name, or not checked yet
  kReady = 1,             // its version is the right one; the class is locked shared
  kNew = 3,               // it has no version
  kInUse = 4,             // by another entry, or by another process
  kConversionNeeded = 5,  // it has another version
  kUnknown = 6,           // it is no path class's directory
};

// Empties the table without giving locks back, as at the start of the process.
void critical_path_start();

// Names the directory of an entry, 1 to 5; an empty name takes the entry out. Nothing happens for
// any other number. An entry that is open is closed before.
void critical_path_set(int number, std::string_view directory);

// Checks the entries with a name, in the order of their numbers, and opens those that are ready.
// When one is anything but ready the check has failed: false, and all are closed again; the states
// stay, for who tells the user.
bool critical_path_check();

CriticalPathState critical_path_state(int number);

// Gives back the locks of all entries that are open; they become unchecked.
void critical_path_close();

}  // namespace marigold
