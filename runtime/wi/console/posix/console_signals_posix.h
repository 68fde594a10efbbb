// Signals while the terminal is held. Those that end the process give the terminal back first and
// are raised again with the action that they had before; so does a stop. A resized terminal and a
// continued process are noted and wake whoever waits for keys.
#pragma once

namespace marigold {

// From now on; a signal that is ignored stays so. May be called again.
void signals_install();
// Everything is again as before signals_install.
void signals_remove();

struct SignalNotes {
  bool continued = false;
  bool resized = false;
};
// What has been noted since the last call; costs nothing when nothing was.
SignalNotes signals_take_notes();
// Readable when something has been noted, until the call after it; -1 before signals_install. Who
// was woken empties it first and takes the notes then.
int signals_wake_descriptor();
void signals_empty_wake_descriptor();

}  // namespace marigold
