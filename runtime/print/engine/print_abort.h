// SPDX-License-Identifier: GPL-3.0-or-later
// Shows the progress line of a list, and asks the user whether to stop printing.
#pragma once

namespace marigold::inner {

void progress_show();
void progress_end();
// Whether a key has been pressed and the user then chose to abort.
bool abort_was_chosen();
// Shows and prints the last words of a list that the user aborts.
void abort_announce();

}  // namespace marigold::inner
