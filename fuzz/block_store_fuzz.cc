// SPDX-License-Identifier: GPL-3.0-or-later
// Block stores of any bytes after their checksum.
//
// The first byte gives the offset of the block. Promised: decoding ends with a reason, or with
// instructions that encode to bytes of the same meaning, whose jumps lead forward and at most to
// the end, and that a source can show as the same block.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_input.h"
#include "runtime/print/files/block_code.h"
#include "tools/list_language/source.h"

namespace marigold::inner::fuzz {
namespace {

void check_jumps(const BlockInstructions& code) {
  for (std::size_t at = 0; at < code.size(); ++at)
    require(code[at].code != BlockCode::kJump ||
            (code[at].target > at && code[at].target <= code.size()));
}

void check_block(std::string_view store, std::uint32_t offset) {
  BlockInstructions code;
  std::string reason;
  if (!decode_block(store, offset, code, reason)) return require(!reason.empty());
  check_jumps(code);
  StoredBlock block{.name = "B"};
  encode_block(code, block.code);
  BlockInstructions again;
  require(decode_block(block.code, 0, again, reason));
  std::string bytes;
  encode_block(again, bytes);
  require(bytes == block.code);

  StoredList list{.name = "L", .blocks = {block}};
  const CompiledSource source = compile_lists(show_list(list), nullptr);
  require(!source.has_errors() && source.lists.size() == 1 && source.lists[0].list == list);
}

}  // namespace
}  // namespace marigold::inner::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view store(reinterpret_cast<const char*>(data) + 1, size - 1);
  marigold::inner::fuzz::check_block(store, *data);
  return 0;
}
