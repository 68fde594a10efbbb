// SPDX-License-Identifier: GPL-3.0-or-later
// Sources of lists of any bytes.
//
// Promised: compiling ends, with notes in the order of their lines, each with a place and on one
// line; a result without errors decodes, shows as a source that gives the same lists again, and
// that source shows as itself.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "runtime/print/files/block_code.h"
#include "tools/list_language/source.h"

namespace marigold::inner::fuzz {
namespace {

void check_notes(const CompiledSource& source) {
  int line = 0;
  for (const SourceNote& note : source.notes) {
    require(note.line >= line && note.line >= 0 && note.column >= 1 && !note.message.empty());
    require(note.message.find('\n') == std::string::npos);
    line = note.line;
  }
}

void check_list(const StoredList& list) {
  for (const StoredBlock& block : list.blocks) {
    BlockInstructions code;
    std::string reason;
    require(decode_block(block.code, 0, code, reason));
  }
  const std::string shown = show_list(list);
  const CompiledSource again = compile_lists(shown, nullptr);
  require(!again.has_errors() && again.lists.size() == 1 && again.lists[0].list == list);
  require(show_list(again.lists[0].list) == shown);
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace marigold::inner;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const CompiledSource source = compile_lists(text, nullptr);
  fuzz::check_notes(source);
  if (source.has_errors()) return 0;
  for (const SourceList& list : source.lists)
    fuzz::check_list(list.list);
  return 0;
}
