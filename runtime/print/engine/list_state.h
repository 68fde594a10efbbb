// The state of the open list, and what the files of the print engine do for each other: page.cc
// where text stands, block_run.cc what blocks say, list.cc the operations, print_abort.cc the user.
#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/lists.h"
#include "runtime/print/engine/block_steps.h"
#include "runtime/print/files/list_records.h"

namespace marigold {

// What no place or width goes beyond: as much as a display line holds.
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

// A page eject that waits until there is something to print beyond it. Without that a list that
// ends with the last line of a page would get another one with nothing but the header.
struct WaitingEject {
  bool waits = false;
  int line = 0;  // to go on with, on the page; 0: the first one below the header
  int down = 0;  // and so many lines further
  int column = 1;
};

struct ListState {
  bool open = false;
  std::string name;
  const ListFiles* files = nullptr;  // open ones, or null
  std::string store;
  std::map<std::string, Block, std::less<>> blocks;           // those that were asked for
  std::pair<const std::string, Block>* last_block = nullptr;  // most are printed many times
  std::array<std::string, 3> rooms;                           // for fields, while they are printed
  const ListRecord* record = nullptr;
  bool to_screen = false;
  bool refused = false;  // when it was to be opened
  std::string today;
  std::size_t overflows_kept = 0;
  std::string first_overflow;

  ListProperties properties;  // the page as cut and overridden
  int footer_line = 0;        // body text stands no further down (the footer reserve)
  std::string header;
  std::string footer;
  bool has_header = false;
  bool has_footer = false;

  int page = 1;
  int line = 1;               // of the page, from 1
  int column = 1;             // from 1
  int moved = 0;              // characters written since the column was counted
  bool line_begun = false;    // its left margin has been written
  bool page_fresh = true;     // nothing stands on it, not even the header
  bool body_printed = false;  // something else than the header stands on it
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

// ---- page.cc

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

// ---- block_run.cc

// The block by its name, null when there is none or it is damaged: then the list is aborted and the
// user has been told.
const Block* block_find(std::string_view name);
// Its record alone; null without a word when there is none.
const Block* block_record(std::string_view name);
void block_run(std::string_view name, BlockKind kind);

// ---- list.cc

// Tells the user and aborts the list.
void list_fail(const std::string& message, const char* help_key);
// Reports it to the program, or keeps the first one for the end of the list.
void list_overflow(const ListOverflow& overflow);

// ---- print_abort.cc

void progress_show();
void progress_end();
// Whether a key has been pressed and the user then chose to abort.
bool abort_was_chosen();
// What a list that the user aborts shows and prints last.
void abort_announce();

}  // namespace marigold
