// Telling and asking the user in windows: what the user interface hook of the lower floors does
// while the window system is active.
//
// Everything waits for a key, takes what it showed off the screen and puts the cursor back. Escape,
// also that of a keyboard that is gone, takes the safe answer. The help key says that there is no
// page under the message's key. A message can be shown at any time; a warning, a choice and waiting
// for a lock take a window for as long as they last, asking about a lock takes two.
#pragma once

namespace marigold {

// Puts the window functions into the hook: after wi_start.
void window_interface_start();

// Gives the hook back what was in it before. May be called again.
void window_interface_end();

}  // namespace marigold
