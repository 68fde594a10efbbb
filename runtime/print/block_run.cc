// What blocks say: finding them, and obeying their instructions one after the other.

#include <algorithm>
#include <cmath>
#include <utility>

#include "runtime/core/user_interface.h"
#include "runtime/print/list_state.h"
#include "runtime/print/print_defaults.h"
#include "runtime/print/variables.h"

namespace marigold {
namespace {

ListState& list() {
  return list_state();
}

std::string in_quotes(std::string_view name) {
  return std::string("\"").append(name).append("\"");
}

void tell(std::string_view block, const std::string& message, const char* help_key) {
  list_fail(std::string("LP1:").append(list().name).append(":").append(block).append(":") + message,
            help_key);
}

// ---- Variables and fields

enum class Wanted { kNumber, kAnything };

// Null when the list has been aborted for it.
const Variable* variable_for(std::string_view name, std::int32_t generation, Wanted wanted) {
  const Variable* variable = variable_find(name, generation);
  const char* wrong = nullptr;
  if (variable == nullptr)
    wrong = " nicht gesetzt!";
  else if (wanted == Wanted::kNumber && variable->kind != VariableKind::kNumeric)
    wrong = " Text / Numerisch MischMasch!";
  if (wrong == nullptr) return variable;
  list_fail(std::string("Variable ").append(in_quotes(name)).append(wrong), "_VARNS_");
  return nullptr;
}

// Counts are of a size that can be reckoned with.
constexpr std::int32_t kMostCounted = 1'000'000;

int rounded(double number) {
  constexpr double kMost = kMostCounted;
  return number > -kMost ? static_cast<int>(std::floor(std::min(number, kMost) + 0.5))
                         : -kMostCounted;
}

int value_of(const BlockValue& value) {
  switch (value.kind) {
    case BlockValue::Kind::kInteger:
      return std::clamp(value.integer, -kMostCounted, kMostCounted);
    case BlockValue::Kind::kNumber:
      return rounded(value.number);
    case BlockValue::Kind::kVariable:
      break;
  }
  const Variable* variable = variable_for(value.variable, value.generation, Wanted::kNumber);
  return variable == nullptr ? 0 : rounded(variable->number);
}

// Empty, to make text in.
std::string& text_for(BlockKind kind) {
  std::string& text = list().texts.at(static_cast<std::size_t>(kind));
  text.clear();
  return text;
}

void align(std::string& text, const Instruction& field) {
  if (field.width <= 0) return;
  const auto width = static_cast<std::size_t>(std::min(field.width, kWidestLine));
  const std::size_t missing = width - std::min(text.size(), width);
  text.resize(std::min(text.size(), width));
  text.insert(field.alignment == Alignment::kLeft ? text.size() : 0, missing, ' ');
}

void print_number(std::string_view mask, double number, BlockKind kind) {
  std::string& text = text_for(kind);
  append_number(text, mask, number);
  page_print(text, kind);
}

void print_text(std::string_view text, BlockKind kind) {
  page_print(text_for(kind).append(text), kind);
}

bool needs_number(const Instruction& field) {
  return field.alignment == Alignment::kMask || field.total != 0;
}

void print_value(const Instruction& field, const ListFieldValue& value, BlockKind kind) {
  std::string& text = text_for(kind);
  const std::string_view mask = field.mask.empty() ? value.mask : field.mask;
  if (value.is_number && (!mask.empty() || value.text.empty()))
    append_number(text, mask, value.number);
  else
    text.append(value.text);
  align(text, field);
  page_print(text, kind);
  // Behind it: what is carried over to a new page does not hold the number that begins it.
  if (field.total != 0 && !list().aborted) channel_add_total(field.total, value.number);
}

void print_variable(const Instruction& field, BlockKind kind) {
  const Variable* variable = variable_for(
      field.text, field.generation, needs_number(field) ? Wanted::kNumber : Wanted::kAnything);
  if (variable == nullptr) return;
  const bool is_number = variable->kind == VariableKind::kNumeric;
  const std::string_view text = is_number ? std::string_view{} : variable->text;
  print_value(field, {is_number, variable->number, text, {}}, kind);
}

void print_record_field(const Instruction& field, BlockKind kind) {
  ListFieldValue value;
  const int element = field.generation == 0 ? 1 : field.generation;
  const char* wrong = nullptr;
  if (list().record == nullptr || !list().record->get(field.text, element, value))
    wrong = " nicht gesetzt!";
  else if (needs_number(field) && !value.is_number)
    wrong = " Text / Numerisch MischMasch!";
  if (wrong == nullptr) return print_value(field, value, kind);
  list_fail(std::string("Variable ").append(in_quotes(field.text)).append(wrong), "_VARNS_");
}

// ---- Instructions

struct Run {
  const Block& block;
  BlockKind kind;
  bool placed = false;
  std::size_t next = 0;
};

void place(const Instruction& instruction, Run& run) {
  const PlaceOrder order{
      static_cast<PlaceMode>(value_of(instruction.values[0])), value_of(instruction.values[1]),
      static_cast<PlaceMode>(value_of(instruction.values[2])), value_of(instruction.values[3])};
  if (list().aborted) return;
  page_place(order, run.block, run.kind, !std::exchange(run.placed, true));
}

void jump(const Instruction& instruction, Run& run) {
  const bool is_set = variable_find(instruction.text, instruction.generation) != nullptr;
  if (is_set != instruction.negated) run.next = instruction.target;
}

void set_column_pitch(int pitch, BlockKind kind) {
  list().column_pitch = pitch;
  if (kind == BlockKind::kBody) list().list_column_pitch = pitch;
}

void print_register(const Instruction& instruction, BlockKind kind) {
  const auto index = static_cast<std::size_t>(instruction.code) -
                     static_cast<std::size_t>(BlockCode::kFirstRegister);
  print_number(instruction.mask, register_get(index), kind);
}

bool is_register(BlockCode code) {
  return code >= BlockCode::kFirstRegister && code <= BlockCode::kLastRegister;
}

void tell_unknown(const Instruction& instruction) {
  const int code = static_cast<int>(instruction.code);
  user_interface().message(("Unknown Meta:" + std::to_string(code)).c_str(), "_UNKNM_");
}

void obey(const Instruction& instruction, Run& run) {
  switch (instruction.code) {
    case BlockCode::kPitch:
      list().wanted.pitch = value_of(instruction.values[0]);
      return;
    case BlockCode::kPlace:
      return place(instruction, run);
    case BlockCode::kText:
      return page_print_marked(instruction.text, run.kind);
    case BlockCode::kField:
      return print_variable(instruction, run.kind);
    case BlockCode::kBoldOn:
      list().wanted.bold = true;
      return;
    case BlockCode::kBoldOff:
      list().wanted.bold = false;
      return;
    case BlockCode::kShortDate:
      return print_text(print_short_date(list().today), run.kind);
    case BlockCode::kLongDate:
      return print_text(list().today, run.kind);
    case BlockCode::kPage:
      return print_number(instruction.mask, list().page, run.kind);
    case BlockCode::kEject:
      if (run.kind == BlockKind::kBody) page_eject(false);
      return;
    case BlockCode::kJump:
      return jump(instruction, run);
    case BlockCode::kColumnPitch:
      return set_column_pitch(value_of(instruction.values[0]), run.kind);
    case BlockCode::kRecordField:
      return print_record_field(instruction, run.kind);
    default:
      if (is_register(instruction.code)) return print_register(instruction, run.kind);
      return tell_unknown(instruction);
  }
}

Block& block_entry(std::string_view name) {
  if (list().last_block != nullptr && list().last_block->first == name)
    return list().last_block->second;
  auto known = list().blocks.find(name);
  if (known == list().blocks.end()) {
    known = list().blocks.try_emplace(std::string(name)).first;
    Block& block = known->second;
    block.found = list().files != nullptr &&
                  block_record_read(*list().files, list().name, name, block.properties);
  }
  list().last_block = &*known;
  return known->second;
}

}  // namespace

const Block* block_record(std::string_view name) {
  const Block& block = block_entry(name);
  return block.found ? &block : nullptr;
}

const Block* block_find(std::string_view name) {
  Block& block = block_entry(name);
  if (!block.found) {
    tell(name, "Block nicht gefunden!", "_BLONF_");
    return nullptr;
  }
  if (block.decoded) return &block;
  std::string reason = "its offset is negative";
  if (block.properties.offset < 0 ||
      !decode_block(list().store, static_cast<std::uint32_t>(block.properties.offset),
                    block.instructions, reason)) {
    tell(name, std::string(list().files->store).append(": ").append(reason), "_BLONF_");
    return nullptr;
  }
  block.decoded = true;
  return &block;
}

void block_run(std::string_view name, BlockKind kind) {
  if (list().aborted) return;
  const Block* block = block_find(name);
  if (block == nullptr) return;
  list().column_pitch = list().list_column_pitch;
  Run run{.block = *block, .kind = kind};
  while (run.next < block->instructions.size() && !list().aborted)
    obey(block->instructions[run.next++], run);
  if (kind == BlockKind::kHeader && !list().aborted) page_next_line();
}

}  // namespace marigold
