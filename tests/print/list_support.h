// SPDX-License-Identifier: GPL-3.0-or-later
// Lists made of instructions, printed on a device that makes everything visible.
#pragma once

#include <string>
#include <vector>

#include "marigold/lists.h"
#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/print/files/block_store.h"
#include "runtime/print/files/list_files.h"
#include "runtime/print/files/list_records.h"
#include "runtime/print/output/meta_marker.h"
#include "runtime/print/output/print_defaults.h"
#include "tests/print/instructions.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// ---- Printed output: text as it is, "<" for a backspace, markers by their names, line ends, and a
// line of "=" at the end of a page.

inline std::string printed;

inline const OutputDevice kVisibleDevice{
    .text =
        [](std::string_view text) {
          for (const char byte : text)
            printed += byte == 8 ? '<' : byte;
        },
    .control =
        [](Marker marker) {
          const std::string_view text = marker_text(marker);
          printed.append("[").append(text.substr(1, text.size() - 2)).append("]");
        },
    .end_line = [] { printed += '\n'; },
    .end_page = [] { printed += "====\n"; },
    .close = [] { return 0; },
};

// ---- Lists

struct TestBlock {
  std::string name;
  BlockInstructions instructions;
  BlockProperties properties = {};
};

struct PrintTest : testing::Test {
  PrintTest() {
    clearenv();
    setenv("DATA_DIRECTORY", ".", 1);
    setenv("PRINT_DIRECTORY", ".", 1);
    settings_read();
    definition_start();
    list_files_define();
    print_defaults_set({.today = "21.11.2026"});
    user_interface_start();
    user_interface().message = [](const char* text, const char* help_key) {
      told.append(text).append(" ").append(help_key).append("\n");
    };
    told.clear();
    printed.clear();
    list_to_device(&kVisibleDevice);
  }
  ~PrintTest() override {
    list_to_device(nullptr);
    list_to_screen(false);
    user_interface_start();
    data_close_all();
  }

  // Writes the files of one list, "L", in place of existing ones.
  static void write_list(const ListProperties& page, const std::vector<TestBlock>& blocks,
                         const ListFiles& files = kPlainListFiles) {
    std::string code;
    data_open(files.blocks, LockWait::kTell);
    DataFile& records = data_file(files.blocks);
    for (const auto& [name, instructions, properties] : blocks) {
      data_clear_record(records);
      data_put_text(records, "LISTE", "L");
      data_put_text(records, "BLOCK", name);
      const std::size_t offset = kBlockStoreHeader + code.size();
      data_put_long(records, "OFF", static_cast<std::int32_t>(offset) + properties.offset);
      data_put_text(records, "SAME", properties.same_page ? "J" : "N");
      data_put_integer(records, "REP", static_cast<std::int16_t>(properties.repeat));
      data_put_integer(records, "ZEIL", static_cast<std::int16_t>(properties.footer_lines));
      data_put_integer(records, "BLEN", static_cast<std::int16_t>(properties.length));
      data_write(records);
      encode_block(instructions, code);
    }
    data_close(records);
    data_open(files.lists, LockWait::kTell);
    DataFile& lists = data_file(files.lists);
    data_put_text(lists, "LISTE", "L");
    data_put_integer(lists, "PL", static_cast<std::int16_t>(page.page_length));
    data_put_integer(lists, "ES", static_cast<std::int16_t>(page.start_column));
    data_put_integer(lists, "EZ", static_cast<std::int16_t>(page.first_line));
    data_put_integer(lists, "LZ", static_cast<std::int16_t>(page.last_line));
    data_put_text(lists, "NAME", page.output);
    data_put_text(lists, "ABRTXT", page.abort_text);
    data_write(lists);
    data_close(lists);
    write_file(std::string(files.store), block_store_of(code));
  }
  // Returns the output of the blocks, in this order, from opening to closing; without the markers
  // that every list begins with. An empty header or footer: none.
  static std::string print(const std::vector<std::string>& blocks, const char* header = "",
                           const char* footer = "") {
    printed.clear();
    list_open("L");
    if (*header != '\0') list_set_header(header);
    if (*footer != '\0') list_set_footer(footer);
    for (const std::string& block : blocks)
      list_print(block);
    list_close();
    return printed.substr(printed.starts_with("[10Z]") ? 5 : 0);
  }

  const WorkDirectory directory;
  static inline std::string told;  // one-line messages and their help keys
};

}  // namespace marigold::inner::test
