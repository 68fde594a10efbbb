// SPDX-License-Identifier: GPL-3.0-or-later
// How much the line from standard output to its terminal still has to send. Process-wide.
//
// The driver of a serial line reports that. A pseudo-terminal reports nothing, although a slow line
// may lie beyond it: there the bytes sent and the speed of the terminal's modes give an estimate,
// on terminals that are likely to be at such a line.
#pragma once

#include <termios.h>

#include <cstddef>

namespace marigold::inner {

// Begins with an idle line. `estimates`: believes a speed below 38400 baud, which is the speed of
// pseudo-terminals.
void line_start(speed_t speed, bool estimates);
void line_note_sent(std::size_t bytes);
// Bytes that the line takes before its backlog reaches 1/60 second; kAnyRoom if it has none.
int line_room();

}  // namespace marigold::inner
