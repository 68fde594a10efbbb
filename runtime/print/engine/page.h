// SPDX-License-Identifier: GPL-3.0-or-later
// Places text on the page: lines, columns, pitches, page ejects.
#pragma once

#include <string_view>

#include "runtime/print/engine/list_state.h"

namespace marigold::inner {

// Writes the pitch and bold markers that the printer needs before the next text.
void page_flush_attributes();
// Prints text at the block's place; the text has no markers.
void page_print(std::string_view text, BlockKind kind);
// Prints a text with markers at the block's place; `width` is the width of its printed characters.
void page_print_marked(std::string_view text, std::size_t width, BlockKind kind);

// Moves to a place. The first placement of a block keeps its lines together, if its record says so.
void page_place(const PlaceOrder& order, const Block& block, BlockKind kind, bool first);
void page_eject(bool goes_on);
// Makes the next text begin a page, unless this page has nothing but a header.
void page_end();
// Prints the text that ends an aborted list, below an empty line and above the footer.
void page_print_abort_text(std::string_view text);
void page_next_line();
// Returns the page of the next text.
int page_of_next_text();

}  // namespace marigold::inner
