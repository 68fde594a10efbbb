// SPDX-License-Identifier: GPL-3.0-or-later
// How many records of a cluster a walk reads at once.
#pragma once

namespace marigold::inner {

// Tells the engine before a step of a walk: many while a list is printed, else `wanted`. What is
// printed is old anyway; the engine reads a record again that has waited for a second. `told`: what
// the engine knows of the descriptor, 0 after opening. Returns 0, or the engine's number.
int walk_ahead(int descriptor, int wanted, int& told);

}  // namespace marigold::inner
