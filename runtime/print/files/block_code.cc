// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/block_code.h"

#include <algorithm>
#include <bit>

namespace marigold::inner {
namespace {

// ---- Encoding

void put(std::string& bytes, std::uint64_t number, int size) {
  for (int at = 0; at < size; ++at)
    bytes += static_cast<char>(number >> 8 * at & 0xFF);
}

void put_integer(std::string& bytes, std::int32_t value) {
  put(bytes, static_cast<std::uint32_t>(value), 4);
}

void put_text(std::string& bytes, std::string_view text) {
  put(bytes, text.size(), 2);
  bytes.append(text);
}

void put_value(std::string& bytes, const BlockValue& value) {
  put(bytes, static_cast<std::uint8_t>(value.kind), 1);
  switch (value.kind) {
    case BlockValue::Kind::kInteger:
      return put_integer(bytes, value.integer);
    case BlockValue::Kind::kNumber:
      return put(bytes, std::bit_cast<std::uint64_t>(value.number), 8);
    case BlockValue::Kind::kVariable:
      put_text(bytes, value.variable);
      return put_integer(bytes, value.generation);
  }
}

void put_field(std::string& bytes, const Instruction& field) {
  put_text(bytes, field.text);
  put_integer(bytes, field.generation);
  put_integer(bytes, field.width);
  put(bytes, static_cast<std::uint8_t>(field.alignment), 1);
  put_text(bytes, field.mask);
  put_integer(bytes, field.total);
}

bool prints_number(BlockCode code) {
  return code >= BlockCode::kPage && code <= BlockCode::kLastRegister;
}

// A jump's target is filled in when the places of all instructions are known.
void put_instruction(std::string& bytes, const Instruction& instruction) {
  put(bytes, static_cast<std::uint8_t>(instruction.code), 1);
  if (prints_number(instruction.code)) return put_text(bytes, instruction.mask);
  switch (instruction.code) {
    case BlockCode::kPitch:
    case BlockCode::kColumnPitch:
      return put_value(bytes, instruction.values[0]);
    case BlockCode::kPlace:
      for (const BlockValue& value : instruction.values)
        put_value(bytes, value);
      return;
    case BlockCode::kText:
      return put_text(bytes, instruction.text);
    case BlockCode::kField:
    case BlockCode::kRecordField:
      return put_field(bytes, instruction);
    case BlockCode::kJump:
      put(bytes, instruction.negated ? 1 : 0, 1);
      put_text(bytes, instruction.text);
      put_integer(bytes, instruction.generation);
      return put_integer(bytes, 0);
    default:
      return;
  }
}

// ---- Decoding

// Takes numbers and texts from the store. Beyond the store's end every number is 0, every text
// empty.
struct Reader {
  std::string_view store;
  std::size_t at = 0;
  bool ended = false;

  std::uint64_t number(std::size_t size) {
    std::uint64_t result = 0;
    const std::string_view bytes = take(size);
    for (std::size_t i = bytes.size(); i-- > 0;)
      result = result << 8 | static_cast<std::uint8_t>(bytes[i]);
    return result;
  }
  std::int32_t integer() {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number(4)));
  }
  std::string_view text() { return take(number(2)); }
  std::string_view take(std::size_t size) {
    ended = ended || size > store.size() - at;
    if (ended) return {};
    at += size;
    return store.substr(at - size, size);
  }
};

constexpr const char* kBadKind = "a value of no known kind";
constexpr const char* kBadAlignment = "a field of no known alignment";
constexpr const char* kBadTotal = "a carried total that is none of the four";

// Each of the functions below returns the reason why the bytes are wrong, or null.
const char* take_value(Reader& reader, BlockValue& value) {
  const std::uint64_t kind = reader.number(1);
  if (kind > static_cast<std::uint64_t>(BlockValue::Kind::kVariable)) return kBadKind;
  value.kind = static_cast<BlockValue::Kind>(kind);
  switch (value.kind) {
    case BlockValue::Kind::kInteger:
      value.integer = reader.integer();
      break;
    case BlockValue::Kind::kNumber:
      value.number = std::bit_cast<double>(reader.number(8));
      break;
    case BlockValue::Kind::kVariable:
      value.variable = reader.text();
      value.generation = reader.integer();
      break;
  }
  return nullptr;
}

const char* take_place(Reader& reader, Instruction& place) {
  for (BlockValue& value : place.values)
    if (const char* wrong = take_value(reader, value)) return wrong;
  return nullptr;
}

const char* take_field(Reader& reader, Instruction& field) {
  field.text = reader.text();
  field.generation = reader.integer();
  field.width = reader.integer();
  const std::uint64_t alignment = reader.number(1);
  field.mask = reader.text();
  field.total = reader.integer();
  if (alignment > static_cast<std::uint64_t>(Alignment::kMask)) return kBadAlignment;
  field.alignment = static_cast<Alignment>(alignment);
  return field.total < 0 || field.total > 4 ? kBadTotal : nullptr;
}

const char* take_operands(Reader& reader, Instruction& instruction) {
  if (prints_number(instruction.code)) {
    instruction.mask = reader.text();
    return nullptr;
  }
  switch (instruction.code) {
    case BlockCode::kPitch:
    case BlockCode::kColumnPitch:
      return take_value(reader, instruction.values[0]);
    case BlockCode::kPlace:
      return take_place(reader, instruction);
    case BlockCode::kText:
      instruction.text = reader.text();
      return nullptr;
    case BlockCode::kField:
    case BlockCode::kRecordField:
      return take_field(reader, instruction);
    case BlockCode::kJump:
      instruction.negated = reader.number(1) != 0;
      instruction.text = reader.text();
      instruction.generation = reader.integer();
      instruction.target = static_cast<std::uint32_t>(reader.number(4));  // a place
      return nullptr;
    default:
      return nullptr;
  }
}

// Turns places, counted from the block's first byte, into numbers of the instructions there.
bool resolve_jumps(BlockInstructions& block, const std::vector<std::uint32_t>& places) {
  for (std::size_t index = 0; index < block.size(); ++index) {
    if (block[index].code != BlockCode::kJump) continue;
    const auto found = std::ranges::lower_bound(places, block[index].target);
    if (found == places.end() || *found != block[index].target) return false;
    block[index].target = static_cast<std::uint32_t>(found - places.begin());
    if (block[index].target <= index) return false;
  }
  return true;
}

}  // namespace

void encode_block(const BlockInstructions& block, std::string& bytes) {
  const std::size_t start = bytes.size();
  std::vector<std::size_t> places;
  std::vector<std::size_t> ends;
  for (const Instruction& instruction : block) {
    places.push_back(bytes.size() - start);
    put_instruction(bytes, instruction);
    ends.push_back(bytes.size());
  }
  places.push_back(bytes.size() - start);
  put_instruction(bytes, Instruction{});
  for (std::size_t index = 0; index < block.size(); ++index) {
    if (block[index].code != BlockCode::kJump) continue;
    std::string target;
    put(target, places[block[index].target], 4);
    bytes.replace(ends[index] - 4, 4, target);
  }
}

bool decode_block(std::string_view store, std::uint32_t offset, BlockInstructions& block,
                  std::string& reason) {
  block.clear();
  if (offset >= store.size()) {
    reason = "its offset lies beyond the end of the block store";
    return false;
  }
  Reader reader{.store = store, .at = offset};
  std::vector<std::uint32_t> places;
  for (;;) {
    places.push_back(static_cast<std::uint32_t>(reader.at - offset));
    Instruction instruction{.code = static_cast<BlockCode>(reader.number(1))};
    const char* wrong = take_operands(reader, instruction);
    if (reader.ended) wrong = "the block store ends within it";
    if (wrong != nullptr) {
      reason = wrong;
      return false;
    }
    if (instruction.code == BlockCode::kEnd) break;
    block.push_back(instruction);
  }
  if (resolve_jumps(block, places)) return true;
  reason = "it has a jump that leads out of it or not forward";
  return false;
}

}  // namespace marigold::inner
