// SPDX-License-Identifier: GPL-3.0-or-later
// The progress line of a list, and the question whether to stop printing.
#pragma once

namespace marigold {

void progress_show();
void progress_end();
// Whether a key has been pressed and the user then chose to abort.
bool abort_was_chosen();
// What a list that the user aborts shows and prints last.
void abort_announce();

}  // namespace marigold
