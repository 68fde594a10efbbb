// SPDX-License-Identifier: GPL-3.0-or-later
// A window for translators and administrators of a program: the number of assigned keys of its
// input fields, counted over the key database TASTENDB.
#pragma once

namespace marigold::inner {

// Shows the counts and waits until the user confirms; shows nothing if the database cannot be
// opened. runtime_start puts it into key_hooks().statistics.
void key_statistics();

}  // namespace marigold::inner
