// SPDX-License-Identifier: GPL-3.0-or-later
// Where text stands on the page: lines, columns, pitches, the ejecting of pages.
#pragma once

#include <string_view>

#include "runtime/print/engine/list_state.h"

namespace marigold {

// Writes what the printer must know before the next text.
void page_flush_attributes();
// Prints text where the block stands; it has no markers.
void page_print(std::string_view text, BlockKind kind);
// The same for a text with markers, which is as wide as the caller has found.
void page_print_marked(std::string_view text, std::size_t width, BlockKind kind);

// The first placement of a block keeps its lines together, when the block has it so.
void page_place(const PlaceOrder& order, const Block& block, BlockKind kind, bool first);
void page_eject(bool goes_on);
// Lets what is printed next begin a page, unless nothing but a header stands on this one.
void page_end();
// Prints the text that ends an aborted list, below an empty line and above the footer.
void page_print_abort_text(std::string_view text);
void page_next_line();
// The page of the next text.
int page_of_next_text();

}  // namespace marigold
