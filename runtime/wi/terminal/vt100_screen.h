// SPDX-License-Identifier: GPL-3.0-or-later
// The screen of a VT100. Its bytes are made while cells are written, and sent by a refresh.
//
// If the refresh is late (console/late_screen.h), these bytes are dropped: the screen is later sent
// as the difference between the cells that the terminal shows and those of the last refresh, in
// segments of a row like the others. Once the terminal shows these, the bytes are made while cells
// are written again. Process-wide; columns and rows count from 1.
#pragma once

#include "runtime/core/terminal_text.h"
#include "runtime/wi/console/console.h"

namespace marigold::inner {

// Sets the state afresh.
void vt100_start(TerminalCharset charset);
// Begins a segment of cells, each of which follows by vt100_put.
void vt100_begin(int column, int row);
void vt100_put(std::uint8_t byte, std::uint8_t attribute);
// Sends the cells written, and puts the cursor in its place; or lets that be late. `cells`: the
// whole screen as it was written.
void vt100_refresh(const ConsoleBuffer& cells, int column, int row);
// Sends all cells to a screen with unknown contents.
void vt100_repaint(const ConsoleBuffer& cells, int column, int row);
// Clears the screen at once.
void vt100_clear();
// Rings the bell at once, after all cells written.
void vt100_bell(const ConsoleBuffer& cells);
// Later output is in normal video.
void vt100_end_look();

}  // namespace marigold::inner
