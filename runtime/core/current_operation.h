// The name of the data operation that runs, for the report on a fault within it. Process-wide; it
// stays until the next operation starts.
#pragma once

namespace marigold {

// The name is kept as a pointer: a literal.
void set_current_operation(const char* name);

// "" before the first one.
const char* current_operation();

}  // namespace marigold
