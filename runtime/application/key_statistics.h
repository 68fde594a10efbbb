// SPDX-License-Identifier: GPL-3.0-or-later
// A window for those who translate and configure a program: how many keys of its input fields are
// assigned, counted over the key database TASTENDB.
#pragma once

namespace marigold {

// Shows the counts and waits until the user confirms; shows nothing when the database cannot be
// opened. Put into key_hooks().statistics by runtime_start.
void key_statistics();

}  // namespace marigold
