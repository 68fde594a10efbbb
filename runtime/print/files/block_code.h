// SPDX-License-Identifier: GPL-3.0-or-later
// The instructions of a block, which the list compiler makes and the print engine carries out.
//
// A block is a sequence of instructions in the block store (block_store.h), from its offset to the
// code that ends it. An Instruction here is decoded; its texts lie in the store's bytes, or in the
// compiler's. Layout of each instruction: docs/formats/block-store.md.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace marigold::inner {

enum class BlockCode : std::uint8_t {
  kPitch = 1,  // one value: 10, 12 or 17 characters per inch
  kPlace = 2,  // line mode, line, column mode, column
  kText = 3,   // a text, which may hold markers
  kField = 5,  // a variable's value
  kBoldOn = 6,
  kBoldOff = 7,
  kShortDate = 8,
  kLongDate = 9,
  kPage = 10,           // the page number, by a mask
  kFirstRegister = 11,  // numeric register 0, by a mask; the next nine codes: registers 1 to 9
  kLastRegister = 20,
  kEnd = 21,
  kEject = 22,
  kJump = 23,         // skips instructions of the block if a variable is set
  kColumnPitch = 24,  // one value: the pitch in which columns are counted
  kRecordField = 25,  // a field of the record that the program has set
};

// Use of a block. Its record does not have the kind: the caller that prints the block knows it.
enum class BlockKind { kBody, kHeader, kFooter };

// A number in a block: a constant, or the value of a numeric variable at the time of printing.
struct BlockValue {
  enum class Kind : std::uint8_t { kInteger = 0, kNumber = 1, kVariable = 2 };
  Kind kind = Kind::kInteger;
  std::int32_t integer = 0;
  double number = 0;
  std::string_view variable = {};
  std::int32_t generation = 0;
  bool operator==(const BlockValue&) const = default;
};

enum class PlaceMode : std::uint8_t { kAbsolute = 1, kCurrent = 2, kCurrentPlus = 3 };

enum class Alignment : std::uint8_t { kLeft = 0, kRight = 1, kMask = 2 };

// Fields that a code does not use keep the defaults.
struct Instruction {
  BlockCode code = BlockCode::kEnd;       // or an unknown number
  std::array<BlockValue, 4> values = {};  // of kPitch and kColumnPitch (the first), kPlace (all)
  std::string_view text = {};             // of kText; the name of kField, kRecordField and kJump
  std::int32_t generation = 0;            // of a variable; the element (from 1) of kRecordField
  std::int32_t width = 0;                 // characters; 0: as many as the value has
  Alignment alignment = Alignment::kLeft;
  std::string_view mask = {};  // also of kPage and the registers; "": as many digits as needed
  std::int32_t total = 0;      // 1 to 4: the carried total to add the number to; 0: none
  bool negated = false;        // kJump: jump when the variable is not set
  std::uint32_t target = 0;    // kJump: number of the instruction in the block to go on with
  bool operator==(const Instruction&) const = default;
};

// A block without the instruction that ends it.
using BlockInstructions = std::vector<Instruction>;

inline constexpr std::size_t kLongestBlockText = 0xFFFF;  // its count has 16 bits

// Appends the block's bytes, the end included. The instructions must be acceptable to the decoder:
// jumps lead forward and at most to the end, and no text is longer than kLongestBlockText.
void encode_block(const BlockInstructions& block, std::string& bytes);

// Decodes the block that begins at this offset of a block store. Returns false and the reason if
// these bytes cannot be a block: the store ends within it, a mode or kind is unknown, or a jump
// leads back, into the middle of an instruction or out of the block. The texts lie in `store`.
bool decode_block(std::string_view store, std::uint32_t offset, BlockInstructions& block,
                  std::string& reason);

}  // namespace marigold::inner
