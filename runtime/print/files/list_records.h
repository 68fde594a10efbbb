// SPDX-License-Identifier: GPL-3.0-or-later
// A list and its blocks as their definition files have them. A list's default pitch (CPI) is for
// its compiler, which puts it into the blocks: the engine begins every list at 10.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/print/files/list_files.h"

namespace marigold {

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

// Opens both definition files to be read; waits for who has one for himself. False when one of them
// is not there: none is made.
bool list_records_open(const ListFiles& files);
void list_records_close(const ListFiles& files);

// False when there is no such list or block.
bool list_record_read(const ListFiles& files, std::string_view list, ListProperties& properties);
bool block_record_read(const ListFiles& files, std::string_view list, std::string_view block,
                       BlockProperties& properties);

}  // namespace marigold
