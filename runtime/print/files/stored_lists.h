// SPDX-License-Identifier: GPL-3.0-or-later
// Lists as they stand in the list files, all of a directory at once: for those who make, replace
// and look at them. The print engine reads the few records that it needs by their keys.
//
// Texts are ISO 8859-1. Numbers are those of the fields of the same name in list_files.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/data/definition/definition.h"
#include "runtime/print/files/list_files.h"

namespace marigold {

// Of the names of lists and blocks, of a list's output name and of its text on abort.
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
  std::string fault = {};         // why it has none: its record leads to no block
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

// The path of one of the files, of keyed ones without ".dat" and ".idx".
std::string list_file_path(const std::string& directory, std::string_view name);

// The definition of one of the keyed files, the built-in one unless a definition set has another.
const FileDefinition& list_file_definition(std::string_view name);

// Reads all lists, by their names, and their blocks in the order in which they lie in the store,
// which is the one of their source. Files that are not there hold none. False with the problem,
// "PATH: REASON", when one of them cannot be read.
bool stored_lists_read(const std::string& directory, const ListFiles& files,
                       std::vector<StoredList>& lists, std::string& problem);

// Makes the three files at these paths (of keyed files without ".dat" and ".idx"), which are free,
// and brings them to the disk. The blocks of each list have different names. False with the
// problem; some of the files may be there then.
struct NewListFile {
  std::string path;
  std::string like;  // the file whose owner and permissions it takes over, if it is there
};
struct NewListFiles {
  NewListFile lists;
  NewListFile blocks;
  NewListFile store;
};
bool stored_lists_write(const NewListFiles& paths, const ListFiles& files,
                        const std::vector<StoredList>& lists, std::string& problem);

}  // namespace marigold
