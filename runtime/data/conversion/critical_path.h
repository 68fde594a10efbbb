// The critical paths of an application: the data directories whose contents must have the right
// version before the application works with them.
//
// Process-wide table of up to 5 entries with numbers from 1; each entry names a data directory. The
// check keeps the class of each directory locked shared (in multi-user operation), so that no
// conversion can begin while the application works.
#pragma once

#include <string_view>

namespace marigold {

inline constexpr int kCriticalPaths = 5;

// Result of the check for an entry. Other programs of the platform use the same numbers.
enum class CriticalPathState {
  kUnchecked = 0,         // without a name, or not checked yet
  kReady = 1,             // it has the right version; the class is locked shared
  kNew = 3,               // it has no version
  kInUse = 4,             // by another entry, or by another process
  kConversionNeeded = 5,  // it has another version
  kUnknown = 6,           // no path class has this directory
};

// Empties the table and gives no locks back, as at the start of the process.
void critical_path_start();

// Sets the directory of an entry, 1 to 5, after closing an open entry; an empty name removes the
// entry. Does nothing for any other number.
void critical_path_set(int number, std::string_view directory);

// Checks the entries with a name, in the order of their numbers, and opens those that are ready.
// Returns false if any of them is not ready, and closes all then; the states stay, so that the
// caller can report them.
bool critical_path_check();

CriticalPathState critical_path_state(int number);

// Gives back the locks of all open entries. All entries become unchecked.
void critical_path_close();

}  // namespace marigold
