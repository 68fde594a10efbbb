// SPDX-License-Identifier: GPL-3.0-or-later
// Functions that run when a program ends. The end of a program does not know all rooms by name, so
// a room adds a function while it has something open.
#pragma once

namespace marigold::inner {

// Adds a function that runs at the program's end, after the functions added before. Adding a
// function twice has no effect. More than eight functions at once are system error 34.
void program_end_add(void (*close)());
void program_end_remove(void (*close)());

// Calls the functions, each once. A function may remove others.
void program_end_run();

}  // namespace marigold::inner
