// What is to be closed when a program ends: rooms that the end of a program does not know by name
// add a function while they have something open.
#pragma once

namespace marigold {

// The function runs at the program's end, after those that were added before. Adding it twice has
// no effect. More than eight at once are system error 34.
void program_end_add(void (*close)());
void program_end_remove(void (*close)());

// Calls them, each once. One that closes something may remove others.
void program_end_run();

}  // namespace marigold
