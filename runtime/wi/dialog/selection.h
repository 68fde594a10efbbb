// A list of entries of which the user chooses one.
#pragma once

#include <span>
#include <string_view>

namespace marigold {

struct SelectionEntry {
  std::string_view text;
  bool can_be_chosen = true;  // headings and lines cannot
};

// The layout is a text of nine digits. The first one "1": a letter, large or small (letters.h),
// goes on to the next entry that begins with it. The second one "1": the entries stand side by side
// in one row without a frame; otherwise below each other in a frame, with the title above them. The
// others are kept for programs that set them, and mean nothing.
struct SelectionField {
  int row = 1;  // of the upper left corner on the screen; brought onto it where it must be
  int column = 1;
  std::string_view title;
  std::span<const SelectionEntry> entries;
  std::string_view layout = "100000000";
  const char* help_key = "";
};

// Shows the entries, lets the user choose with the cursor keys, Home, End, the page keys and first
// letters, and takes them away again. The number of the entry chosen with Enter, from 1; 0 for
// Escape, and when nothing can be chosen. More entries than there is room for are scrolled.
int selection_field(const SelectionField& field);

}  // namespace marigold
