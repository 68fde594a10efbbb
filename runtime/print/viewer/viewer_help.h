// SPDX-License-Identifier: GPL-3.0-or-later
// The keys of the viewer, for its user.
#pragma once

namespace marigold {

// Shows them in a window over the text until a key is pressed.
void viewer_help();

}  // namespace marigold
