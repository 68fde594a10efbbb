// SPDX-License-Identifier: GPL-3.0-or-later
// Shows the screen output of a list after screen_output_end: pages and scrolls in both directions,
// searches, and sends the printer's bytes to the printer.
//
// Takes the whole screen and restores it at the end. Reads only the part of the file that it shows,
// however long the file is; only a search reads on, and any key stops it. "?" shows all keys.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace marigold::inner {

// Most bytes that a call of ViewerJob::print gets.
inline constexpr std::size_t kPrintPiece = 125;

struct ViewerJob {
  std::string_view name;  // of the list, shown in the title
  // Lines of a printed page, by which the viewer turns pages. Below 1 the list is one page,
  // whatever its length.
  int page_length = 0;
  // Called before the first bytes of a printing, and after the last ones. begin_print returns 0, or
  // another number without a printer. Null: nothing to do.
  int (*begin_print)() = nullptr;
  void (*end_print)() = nullptr;
  // Sends bytes to the printer. Returns 0, or another number without a printer. Null: no printer.
  int (*print)(std::span<const char> bytes) = nullptr;
  // Whether the user wants to stop printing; called before each piece. Null: never.
  bool (*aborted)() = nullptr;
};

// Returns when the user ends the viewer with F1, or when the keyboard's input ends. Both temporary
// files still exist then (screen_output_remove). A one-line message reports anything that cannot be
// read or printed; without a "VIDEO.TMP" the message is all that the user sees.
void viewer_run(const ViewerJob& job);

}  // namespace marigold::inner
