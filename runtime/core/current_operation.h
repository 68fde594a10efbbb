// SPDX-License-Identifier: GPL-3.0-or-later
// The name of the current data operation, for the report on a fault within it. Process-wide; the
// name stays until the next operation starts.
#pragma once

namespace marigold::inner {

// Keeps only the pointer: pass a literal.
void set_current_operation(const char* name);

// Returns "" before the first operation.
const char* current_operation();

}  // namespace marigold::inner
