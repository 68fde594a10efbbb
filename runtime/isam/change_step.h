// The steps of a change, at each of which a process may die.
#pragma once

namespace marigold::isam {

// A point at which the process may die: everything stored so far is stored.
void change_step();

// Counts the steps at which a change can be interrupted, for tests that kill a process at each.
// Null in every other program.
extern void (*change_step_hook)();

}  // namespace marigold::isam
