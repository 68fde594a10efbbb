// SPDX-License-Identifier: GPL-3.0-or-later
// The state of the open list, which the sources of the print engine share: list.cc has the
// operations, block_run.cc carries out blocks, page.cc places text, print_abort.cc asks the user.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/lists.h"
#include "runtime/print/engine/block_steps.h"
#include "runtime/print/files/list_records.h"

namespace marigold::inner {

// Greatest column and width: the length of a display line.
inline constexpr int kWidestLine = 250;

struct Block {
  BlockProperties properties;
  bool found = false;
  bool ready = false;            // its steps are known
  std::vector<BlockStep> steps;  // their texts lie in ListState::store
};

inline constexpr int kStartPitch = 10;  // characters per inch, of every list and margin

struct Attributes {
  int pitch = kStartPitch;
  bool bold = false;
  bool operator==(const Attributes&) const = default;
};

// A page eject that waits for the next text. Without the wait, a list that ends with the last line
// of a page would get another page with nothing but the header.
struct WaitingEject {
  bool waits = false;
  int line = 0;  // next line on the page; 0: the first one below the header
  int down = 0;  // lines further down from there
  int column = 1;
};

struct ListState {
  bool open = false;
  std::string name;
  const ListFiles* files = nullptr;  // open ones, or null
  std::string store;
  std::map<std::string, Block, std::less<>> blocks;           // those asked for so far
  std::pair<const std::string, Block>* last_block = nullptr;  // most names repeat
  std::array<std::string, 3> rooms;                           // for fields, during their printing
  const ListRecord* record = nullptr;
  // Prints a header or footer block: pages begin and end with blocks, and printing a block places
  // text.
  void (*run_block)(std::string_view name, BlockKind kind) = nullptr;
  bool to_screen = false;
  bool refused = false;  // at its opening
  std::string today;
  std::size_t overflows_kept = 0;
  std::string first_overflow;

  ListProperties properties;  // the page as cut and overridden
  int footer_line = 0;        // lowest line of body text; the footer has the lines below
  std::string header;
  std::string footer;
  bool has_header = false;
  bool has_footer = false;

  int page = 1;
  int line = 1;               // of the page, from 1
  int column = 1;             // from 1
  int moved = 0;              // characters written since `column` was counted
  bool line_begun = false;    // its left margin has been written
  bool page_fresh = true;     // nothing is printed on it, not even the header
  bool body_printed = false;  // more than the header is printed on it
  bool printed = false;
  bool aborted = false;
  WaitingEject waiting;

  Attributes wanted;
  Attributes shown;
  int list_column_pitch = kStartPitch;
  int column_pitch = kStartPitch;  // of the block

  bool progress_shown = false;
  int progress_window = 0;
  int window_before = 0;
};

ListState& list_state();

}  // namespace marigold::inner
