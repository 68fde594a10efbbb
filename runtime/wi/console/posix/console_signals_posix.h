// SPDX-License-Identifier: GPL-3.0-or-later
// Handles signals while the process holds the terminal. A signal that ends or stops the process
// first gives the terminal back and is then raised again with its earlier action. A resized
// terminal and a continued process are noted, and wake a reader that waits for keys.
#pragma once

namespace marigold::inner {

// Installs the handlers; an ignored signal stays ignored. May be called again.
void signals_install();
// Restores the state before signals_install.
void signals_remove();

struct SignalNotes {
  bool continued = false;
  bool resized = false;
};
// Returns the notes since the last call; costs nothing without notes.
SignalNotes signals_take_notes();
// Returns a descriptor that is readable from a note until signals_empty_wake_descriptor; -1 before
// signals_install. A woken reader empties the descriptor first and then takes the notes.
int signals_wake_descriptor();
void signals_empty_wake_descriptor();

}  // namespace marigold::inner
