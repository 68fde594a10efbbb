// SPDX-License-Identifier: GPL-3.0-or-later
// All lists in the list files of a directory: for tools that make, replace and show lists. The
// print engine reads the few records that it needs by their keys.
//
// Texts are ISO 8859-1. Numbers have the meaning of the fields of the same name in list_files.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/data/definition/definition.h"
#include "runtime/print/files/list_files.h"

namespace marigold::inner {

// Longest name of a list or block, output name, and abort text of a list.
inline constexpr std::size_t kLongestListName = 20;
inline constexpr std::size_t kLongestOutputName = 40;
inline constexpr std::size_t kLongestAbortText = 80;

struct StoredBlock {
  std::string name;
  char same = 'N';  // "SAME": 'J' keeps the block on one page; a zero byte when there is none
  std::int16_t repeat = 0;
  std::int16_t footer_lines = 0;  // "ZEIL"
  std::int16_t length = 0;        // "BLEN", in lines
  std::string code = {};          // its bytes in the store, the end included
  std::string fault = {};         // reason why it has no code: its record leads to no block
  bool operator==(const StoredBlock&) const = default;
};

struct StoredList {
  std::string name;
  std::int16_t page_length = 72;
  std::int16_t start_column = 1;
  std::int16_t first_line = 1;
  std::int16_t last_line = 72;
  std::int16_t pitch = 10;
  std::string output_name = {};
  std::string abort_text = {};
  std::vector<StoredBlock> blocks = {};
  bool operator==(const StoredList&) const = default;
};

// Returns the path of one of the files, for keyed files without ".dat" and ".idx".
std::string list_file_path(const std::string& directory, std::string_view name);

// Returns the definition of one of the keyed files, the built-in one unless a definition set has
// another.
const FileDefinition& list_file_definition(std::string_view name);

// Reads all lists, ordered by name, and their blocks in the order of the store, which is that of
// their source. A missing file holds no list. Returns false and the problem, "PATH: REASON", when a
// file cannot be read.
bool stored_lists_read(const std::string& directory, const ListFiles& files,
                       std::vector<StoredList>& lists, std::string& problem);

// Makes the three files at these paths (for keyed files without ".dat" and ".idx"), which must be
// free, and makes them durable. No two blocks of a list have one name. Returns false and the
// problem; some of the files may exist then.
struct NewListFile {
  std::string path;
  std::string like;  // its owner and permissions go to the new file, if it exists
};
struct NewListFiles {
  NewListFile lists;
  NewListFile blocks;
  NewListFile store;
};
bool stored_lists_write(const NewListFiles& paths, const ListFiles& files,
                        const std::vector<StoredList>& lists, std::string& problem);

}  // namespace marigold::inner
