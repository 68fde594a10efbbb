// Lets the user choose one entry of a list.
#pragma once

#include <span>
#include <string_view>

namespace marigold {

struct SelectionEntry {
  std::string_view text;
  bool can_be_chosen = true;  // headings and lines cannot
};

// The layout is a text of nine digits. First digit "1": a letter, large or small (letters.h), moves
// to the next entry that begins with it. Second digit "1": the entries lie side by side in one row
// without a frame; otherwise one below the other in a frame, with the title above them. The other
// digits have no effect; programs may set them.
struct SelectionField {
  int row = 1;  // of the upper left corner on the screen; moved onto the screen if need be
  int column = 1;
  std::string_view title;
  std::span<const SelectionEntry> entries;
  std::string_view layout = "100000000";
  const char* help_key = "";
};

// Shows the entries, lets the user choose with the cursor keys, Home, End, the page keys and first
// letters, and removes the entries again. Returns the number of the entry chosen with Enter, from
// 1; 0 for Escape, and if no entry can be chosen. Scrolls if there are more entries than room.
int selection_field(const SelectionField& field);

}  // namespace marigold
