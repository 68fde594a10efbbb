// SPDX-License-Identifier: GPL-3.0-or-later
// The print engine with any instructions, on any page, as body, header and footer at once: printing
// ends, and the number of lines is bounded by the number of instructions.

#include "fuzz/fuzz_input.h"
#include "runtime/core/user_interface.h"
#include "runtime/print/engine/block_run.h"
#include "runtime/print/engine/list_state.h"
#include "runtime/print/output/print_defaults.h"

namespace marigold::inner {
namespace {

using fuzz::require;

struct Fatal {};

int lines = 0;

constexpr OutputDevice kNoDevice{
    .text = [](std::string_view text) { require(!text.empty() && text.size() <= 250); },
    .control = [](Marker) {},
    .end_line = [] { ++lines; },
    .end_page = [] {},
    .close = [] { return 0; },
};

// Opens a list with a block of these instructions.
void open_list(const std::uint8_t* page, const BlockInstructions& instructions) {
  ListState& list = list_state();
  list = {};
  variables_clear();
  variable_set("A", 0, 2.5);
  variable_set("B", 0, "text");
  list.open = true;
  list.run_block = block_run;
  list.name = "L";
  list.today = "21.11.2026";
  ListProperties& properties = list.properties;
  properties.page_length = 1 + page[0] % 70;
  properties.start_column = page[1] % 20;
  properties.last_line = 1 + page[2] % properties.page_length;
  properties.first_line = 1 + page[3] % properties.last_line;
  list.footer_line = properties.last_line - page[3] / 64;
  if (list.footer_line < properties.first_line) list.footer_line = properties.first_line;
  for (const char* name : {"BODY", "HEADER", "FOOTER"}) {
    Block& block = list.blocks[name];
    block.found = block.ready = true;
    block.properties = {.same_page = page[1] > 127, .length = page[2] % 8};
    block.steps = block_steps(instructions);
  }
  list.has_header = page[1] % 2 == 0;
  list.header = "HEADER";
  list.has_footer = page[2] % 2 == 0;
  list.footer = "FOOTER";
  print_defaults_set({});
  channel_open("", properties.page_length, kNoDevice);
}

void print_list() {
  constexpr int kPrints = 3;
  for (int count = 0; count < kPrints; ++count)
    list_print("BODY");
  list_close();
}

}  // namespace
}  // namespace marigold::inner

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace marigold;
  using namespace marigold::inner;
  constexpr std::size_t kPage = 4;
  if (size <= kPage) return 0;
  const std::string_view store(reinterpret_cast<const char*>(data) + kPage, size - kPage);
  BlockInstructions instructions;
  std::string reason;
  if (!decode_block(store, 0, instructions, reason)) return 0;
  user_interface().message = [](const char*, const char*) {};
  user_interface().fatal = [](int) { throw Fatal(); };  // a marker of no name, or a long header
  lines = 0;
  open_list(data, instructions);
  try {
    print_list();
  } catch (const Fatal&) {
    if (channel_is_open()) channel_close();
  }
  // Every instruction can eject a page, and header and footer can fill a page each.
  const auto most = 3 * (instructions.size() + 2) * (instructions.size() + 2) * 3 * 72;
  fuzz::require(static_cast<std::size_t>(lines) <= most);
  return 0;
}
