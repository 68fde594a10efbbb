// SPDX-License-Identifier: GPL-3.0-or-later
// Shows the user the keys of the viewer.
#pragma once

namespace marigold::inner {

// Shows the keys in a window over the text until the user presses a key.
void viewer_help();

}  // namespace marigold::inner
