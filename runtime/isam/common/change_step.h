// SPDX-License-Identifier: GPL-3.0-or-later
// Steps of a change, at each of which a process may die.
#pragma once

namespace marigold::inner::isam {

// Marks a step: every store before it stays before it.
void change_step();

// Called at each step, so that a test can kill the process there. Null in every other program.
extern void (*change_step_hook)();

}  // namespace marigold::inner::isam
