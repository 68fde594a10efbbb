// SPDX-License-Identifier: GPL-3.0-or-later
// Shows what a list has printed to the screen, after screen_output_end: pages and scrolls in both
// directions, searches, and sends the printer's bytes to the printer after all.
//
// Takes the whole screen and gives it back as it was. Reads no more of the file than what it shows,
// however long that is; only a search reads on, and any key breaks it off. "?" shows all keys.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace marigold {

// A call of ViewerJob::print gets at most so many bytes.
inline constexpr std::size_t kPrintPiece = 125;

struct ViewerJob {
  std::string_view name;  // of the list, for the title
  // Lines of a printed page, by which the viewer turns pages. Below 1 the list is one page, however
  // long.
  int page_length = 0;
  // Before the first bytes of a printing: 0, or else there is no printer; and behind the last ones.
  // Null: nothing needs to be done.
  int (*begin_print)() = nullptr;
  void (*end_print)() = nullptr;
  // Sends bytes to the printer: 0, or else there is no printer. Null: there is none.
  int (*print)(std::span<const char> bytes) = nullptr;
  // Whether the user wants to stop printing; asked before each piece. Null: never.
  bool (*aborted)() = nullptr;
};

// Returns when the user ends the viewer with F1, or the keyboard is lost. Both temporary files are
// still there then (screen_output_remove). What cannot be read or printed is told by a one-line
// message; without a "VIDEO.TMP" there is nothing else to see.
void viewer_run(const ViewerJob& job);

}  // namespace marigold
