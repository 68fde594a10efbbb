// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a list and its blocks from their definition files. Only the compiler uses a list's default
// pitch (CPI), which it puts into the blocks: the engine begins every list at 10.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/print/files/list_files.h"

namespace marigold::inner {

struct ListProperties {
  int page_length = 0;      // PL, lines
  int start_column = 1;     // ES, of every line
  int first_line = 1;       // EZ, of a page
  int last_line = 0;        // LZ
  std::string output = {};  // NAME, without blanks at its end
  std::string abort_text = {};
};

struct BlockProperties {
  std::int32_t offset = 0;  // OFF, in the block store
  bool same_page = false;   // SAME is "J"
  int repeat = 0;           // REP
  int footer_lines = 0;     // ZEIL
  int length = 0;           // BLEN, lines
};

// Opens both definition files for reading; waits while another process has one open exclusively.
// Returns false when a file is missing, and makes none.
bool list_records_open(const ListFiles& files);
void list_records_close(const ListFiles& files);

// Return false if there is no such list or block.
bool list_record_read(const ListFiles& files, std::string_view list, ListProperties& properties);
bool block_record_read(const ListFiles& files, std::string_view list, std::string_view block,
                       BlockProperties& properties);

}  // namespace marigold::inner
