// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/block_code.h"

#include <limits>

#include "tests/support/support.h"

namespace marigold::inner::test {

using Code = BlockCode;
using Kind = BlockValue::Kind;

static BlockValue whole(std::int32_t value) {
  return {.integer = value};
}

static Instruction instruction(Code code, const std::array<BlockValue, 4>& values = {}) {
  Instruction result;
  result.code = code;
  result.values = values;
  return result;
}

static Instruction field(Code code) {
  Instruction result = instruction(code);
  result.text = "BETRAG";
  result.generation = -2;
  result.width = 12;
  result.alignment = Alignment::kMask;
  result.mask = "-##0,00";
  result.total = 4;
  return result;
}

static Instruction masked(Code code, std::string_view mask) {
  Instruction result = instruction(code);
  result.mask = mask;
  return result;
}

static Instruction text(std::string_view words) {
  Instruction result = instruction(Code::kText);
  result.text = words;
  return result;
}

static Instruction jump(std::uint32_t target, bool negated = false) {
  Instruction result = instruction(Code::kJump);
  result.text = "N";
  result.generation = 7;
  result.negated = negated;
  result.target = target;
  return result;
}

// Returns every instruction, each kind of value, and jumps to an instruction and to the end.
static BlockInstructions every_instruction() {
  const BlockValue number = {.kind = Kind::kNumber, .number = -2.5};
  const BlockValue variable = {.kind = Kind::kVariable, .variable = "SPALTE", .generation = 3};
  BlockInstructions block = {
      jump(2),
      instruction(Code::kPitch, {whole(12)}),
      instruction(Code::kColumnPitch, {variable}),
      instruction(Code::kPlace, {whole(1), number, whole(3), variable}),
      text("Gr\xFC\xDF"
           "e\x05NL\x05"),
      text(""),
      field(Code::kField),
      field(Code::kRecordField),
      instruction(Code::kBoldOn),
      instruction(Code::kBoldOff),
      instruction(Code::kShortDate),
      instruction(Code::kLongDate),
      masked(Code::kPage, "##0"),
      instruction(Code::kEject),
      instruction(static_cast<Code>(99)),
  };
  for (int code = 11; code <= 20; ++code)
    block.push_back(masked(static_cast<Code>(code), code == 15 ? "" : "0,0"));
  block.push_back(jump(static_cast<std::uint32_t>(block.size()) + 1, true));
  return block;
}

TEST(BlockCodeTest, EveryInstructionComesBack) {
  const BlockInstructions block = every_instruction();
  std::string store = "behind something";
  const auto offset = static_cast<std::uint32_t>(store.size());
  encode_block(block, store);
  BlockInstructions again;
  std::string reason;
  ASSERT_TRUE(decode_block(store, offset, again, reason)) << reason;
  EXPECT_TRUE(again == block);

  // A text of the greatest length still has its count.
  const std::string longest(kLongestBlockText, 'x');
  std::string bytes;
  encode_block({text(longest)}, bytes);
  ASSERT_TRUE(decode_block(bytes, 0, again, reason)) << reason;
  EXPECT_EQ(again.at(0).text, longest);
}

TEST(BlockCodeTest, BytesAreThoseOfTheFormat) {
  std::string bytes;
  encode_block({jump(2, true), instruction(Code::kPitch, {whole(-2)}), text("ab")}, bytes);
  EXPECT_EQ(bytes,
            "\x17\x01\x01\x00N\x07\x00\x00\x00\x13\x00\x00\x00"  // 13 bytes, and 6 after them
            "\x01\x00\xFE\xFF\xFF\xFF"
            "\x03\x02\x00"
            "ab\x15"s);
}

TEST(BlockCodeTest, DamagedBlocksAreRefused) {
  // A block that is cut anywhere has no end.
  std::string whole_block;
  encode_block(every_instruction(), whole_block);
  BlockInstructions block;
  std::string reason;
  for (std::size_t length = 1; length < whole_block.size(); ++length)
    EXPECT_FALSE(decode_block(whole_block.substr(0, length), 0, block, reason)) << length;

  const std::string jump_to = "\x17\x00\x01\x00N\x00\x00\x00\x00"s;  // and the place, 4 bytes
  const std::string field_to_alignment = "\x05\x01\x00V\x00\x00\x00\x00\x00\x00\x00\x00"s;
  struct Row {
    std::string what;
    std::string bytes;
    std::uint32_t offset = 0;
    std::string reason;
  };
  const Row rows[] = {
      {"an offset behind the store", "\x15", 1,
       "its offset lies beyond the end of the block store"},
      {"a store that ends", "\x06", 0, "the block store ends within it"},
      {"a value of kind 3", "\x01\x03\x15"s, 0, "a value of no known kind"},
      {"a value of kind 3 in a place", "\x02\x00\x01\x00\x00\x00\x03\x15"s, 0,
       "a value of no known kind"},
      {"alignment 3", field_to_alignment + "\x03\x00\x00\x00\x00\x00\x00\x15"s, 0,
       "a field of no known alignment"},
      {"total 5", field_to_alignment + "\x00\x00\x00\x05\x00\x00\x00\x15"s, 0,
       "a carried total that is none of the four"},
      {"total -1", field_to_alignment + "\x00\x00\x00\xFF\xFF\xFF\xFF\x15"s, 0,
       "a carried total that is none of the four"},
      {"a jump to itself", jump_to + "\x00\x00\x00\x00\x15"s, 0,
       "it has a jump that leads out of it or not forward"},
      {"a jump into an instruction", jump_to + "\x0E\x00\x00\x00\x03\x00\x00\x15"s, 0,
       "it has a jump that leads out of it or not forward"},
      {"a jump behind the end", jump_to + "\x0E\x00\x00\x00\x15"s, 0,
       "it has a jump that leads out of it or not forward"},
      {"a text longer than the store", "\x03\xFF\xFF\x15"s, 0, "the block store ends within it"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    reason.clear();
    EXPECT_FALSE(decode_block(row.bytes, row.offset, block, reason));
    EXPECT_EQ(reason, row.reason);
  }
  EXPECT_TRUE(decode_block(jump_to + "\x0D\x00\x00\x00\x15"s, 0, block, reason)) << "to the end";
}

}  // namespace marigold::inner::test
