// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/block_code.h"

#include <limits>

#include "tests/print/instructions.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

using enum BlockCode;
using Kind = BlockValue::Kind;

static Instruction field(BlockCode code) {
  return {.code = code,
          .text = "BETRAG",
          .generation = -2,
          .width = 12,
          .alignment = Alignment::kMask,
          .mask = "-##0,00",
          .total = 4};
}

static Instruction jump(std::uint32_t target, bool negated = false) {
  return {.code = kJump, .text = "N", .generation = 7, .negated = negated, .target = target};
}

// Returns every instruction, each kind of value, and jumps to an instruction and to the end.
static BlockInstructions every_instruction() {
  const BlockValue real = {.kind = Kind::kNumber, .number = -2.5};
  const BlockValue variable = {.kind = Kind::kVariable, .variable = "SPALTE", .generation = 3};
  BlockInstructions block = {jump(2),
                             only(kPitch, 12),
                             {.code = kColumnPitch, .values = {variable}},
                             {.code = kPlace, .values = {number(1), real, number(3), variable}},
                             words("Gr\xFC\xDF"
                                   "e\x05NL\x05"),
                             words(""),
                             field(kField),
                             field(kRecordField),
                             only(kBoldOn),
                             only(kBoldOff),
                             only(kShortDate),
                             only(kLongDate),
                             masked(kPage, "##0"),
                             only(kEject),
                             only(static_cast<BlockCode>(99))};
  for (int code = 11; code <= 20; ++code)
    block.push_back(masked(static_cast<BlockCode>(code), code == 15 ? "" : "0,0"));
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
  encode_block({words(longest)}, bytes);
  ASSERT_TRUE(decode_block(bytes, 0, again, reason)) << reason;
  EXPECT_EQ(again.at(0).text, longest);
}

TEST(BlockCodeTest, BytesAreThoseOfTheFormat) {
  std::string bytes;
  encode_block({jump(2, true), only(kPitch, -2), words("ab")}, bytes);
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
