// SPDX-License-Identifier: GPL-3.0-or-later
// The files that define lists: "LISTEN" with a record for each list, "BLOECKE" with a record for
// each block, and the block store. A second set has an "I" before each name; a search for a list
// tries that set first.
//
// The keyed files are opened through data.h, so their definitions belong to the application's
// definition sets. A file that no set defines gets the built-in definition.
//
//   LISTEN:  LISTE (key 1), PL, ES, EZ, LZ, CPI, NAME, ABRTXT
//   BLOECKE: LISTE and BLOCK (key 1), OFF, SAME, REP, ZEIL, BLEN
#pragma once

#include <string>
#include <string_view>

namespace marigold::inner {

struct ListFiles {
  std::string_view lists;  // names of definitions
  std::string_view blocks;
  std::string_view store;  // name of a file in the print directory
};

inline constexpr ListFiles kOwnListFiles = {"ILISTEN", "IBLOECKE", "IDRUCK.BIN"};
inline constexpr ListFiles kPlainListFiles = {"LISTEN", "BLOECKE", "DRUCK.BIN"};

// Adds the built-in definitions of those of the four files that no definition set has defined.
// Those files lie in the print directory.
void list_files_define();

// Takes all list files from this directory, whatever the settings and definitions say: for tools.
// Empty: from the print directory.
void list_files_use(std::string_view directory);

// Return the directory of the block stores, and the path of a pair's block store in it.
std::string list_directory();
std::string list_store_path(const ListFiles& files);

}  // namespace marigold::inner
