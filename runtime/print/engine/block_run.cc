// SPDX-License-Identifier: GPL-3.0-or-later
// Finds blocks and carries out their instructions one after the other.

#include "runtime/print/engine/block_run.h"

#include <algorithm>
#include <span>
#include <utility>

#include "runtime/core/user_interface.h"
#include "runtime/print/engine/block_text.h"
#include "runtime/print/engine/list_fault.h"
#include "runtime/print/engine/page.h"
#include "runtime/print/output/print_defaults.h"

namespace marigold::inner {
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

constexpr const char* kNotSet = " nicht gesetzt!";
constexpr const char* kMixed = " Text / Numerisch MischMasch!";

void refuse(std::string_view name, const char* fault) {
  list_fail(std::string("Variable ").append(in_quotes(name)).append(fault), "_VARNS_");
}

int value_of(const BlockValue& value) {
  int count = 0;
  if (block_count_known(value, count)) return count;
  const Variable& variable = *variable_place(value.variable, value.generation);
  if (variable.kind == VariableKind::kNumeric) return block_count(variable.number);
  refuse(value.variable, is_set(variable) ? kMixed : kNotSet);
  return 0;
}

bool needs_number(const Instruction& field) {
  return field.alignment == Alignment::kMask || field.total != 0;
}

// ---- Instructions

struct Run {
  const Block& block;
  BlockKind kind;
  BlockText& text;
  bool placed = false;
  std::size_t next = 0;
};

void refuse_field(const Instruction& field, const char* fault, Run& run) {
  run.text.print();
  refuse(field.text, fault);
}

// Called after the field: the total at the end of a page must not have a number of the next page.
void add_to_total(int total, double number, Run& run) {
  if (total == 0) return;
  run.text.print();
  if (!list().aborted) channel_add_total(total, number);
}

void print_number(const BlockStep& step, const Variable& variable, Run& run) {
  const Instruction& field = step.instruction;
  if (variable.text.empty() || !field.mask.empty())
    run.text.add_number(step.mask, variable.number, field);
  else
    run.text.add_number(variable.text, variable.number, field);
  add_to_total(field.total, variable.number, run);
}

void print_variable(const BlockStep& step, Run& run) {
  const Variable& variable = *step.variable;
  const Instruction& field = step.instruction;
  switch (variable.kind) {
    case VariableKind::kNumeric:
      return print_number(step, variable, run);
    case VariableKind::kText:
      if (needs_number(field)) return refuse_field(field, kMixed, run);
      return run.text.add_text(variable.text, field);
    case VariableKind::kEmpty:
      return run.text.add_empty(field);
    case VariableKind::kNotSet:
      return refuse_field(field, kNotSet, run);
  }
}

// Edits by the mask of the block, or by that of the record, or takes the record's text.
void print_value(const BlockStep& step, const ListFieldValue& value, Run& run) {
  const Instruction& field = step.instruction;
  if (value.is_number && !field.mask.empty())
    run.text.add_number(step.mask, value.number, field);
  else if (value.is_number && (!value.mask.empty() || value.text.empty()))
    run.text.add_number(NumberMask(value.mask), value.number, field);
  else if (const std::string text(value.text);  // a header may read the record again
           value.is_number)
    run.text.add_number(text, value.number, field);
  else
    run.text.add_text(text, field);
  add_to_total(field.total, value.number, run);
}

void print_record_field(const BlockStep& step, Run& run) {
  const Instruction& field = step.instruction;
  ListFieldValue value;
  const int element = field.generation == 0 ? 1 : field.generation;
  const char* fault = nullptr;
  if (list().record == nullptr || !list().record->get(field.text, element, value))
    fault = kNotSet;
  else if (!value.is_number && value.text.empty())
    return run.text.add_empty(field);
  else if (needs_number(field) && !value.is_number)
    fault = kMixed;
  if (fault != nullptr) return refuse_field(field, fault, run);
  print_value(step, value, run);
}

PlaceOrder order_of(const BlockStep& step) {
  if (step.is_fixed) return step.place;
  const auto& values = step.instruction.values;
  return {static_cast<PlaceMode>(value_of(values[0])), value_of(values[1]),
          static_cast<PlaceMode>(value_of(values[2])), value_of(values[3])};
}

void place(const BlockStep& step, Run& run) {
  run.text.print();
  const PlaceOrder order = order_of(step);
  if (list().aborted) return;
  page_place(order, run.block, run.kind, !std::exchange(run.placed, true));
}

void print_words(const BlockStep& step, Run& run) {
  if (!step.has_markers) return run.text.add_words(step.instruction.text);
  run.text.print();
  page_print_marked(step.instruction.text, step.width, run.kind);
}

void jump(const BlockStep& step, Run& run) {
  if (is_set(*step.variable) != step.instruction.negated) run.next = step.instruction.target;
}

void set_column_pitch(int pitch, BlockKind kind) {
  list().column_pitch = pitch;
  if (kind == BlockKind::kBody) list().list_column_pitch = pitch;
}

void print_register(const BlockStep& step, Run& run) {
  const auto index = static_cast<std::size_t>(step.instruction.code) -
                     static_cast<std::size_t>(BlockCode::kFirstRegister);
  run.text.add_number(step.mask, register_get(index), step.instruction);
}

bool is_register(BlockCode code) {
  return code >= BlockCode::kFirstRegister && code <= BlockCode::kLastRegister;
}

void tell_unknown(const Instruction& instruction) {
  const int code = static_cast<int>(instruction.code);
  user_interface().message(("Unknown Meta:" + std::to_string(code)).c_str(), "_UNKNM_");
}

// Prints the text before it first, since that may end a page.
void print_page_number(const BlockStep& step, Run& run) {
  run.text.print();
  if (!list().aborted) run.text.add_number(step.mask, page_of_next_text(), step.instruction);
}

// Carries out an instruction that is no text, after printing the text before it.
void obey_order(const BlockStep& step, Run& run) {
  const Instruction& instruction = step.instruction;
  run.text.print();
  if (list().aborted) return;
  switch (instruction.code) {
    case BlockCode::kPitch:
      list().wanted.pitch = value_of(instruction.values[0]);
      return;
    case BlockCode::kColumnPitch:
      return set_column_pitch(value_of(instruction.values[0]), run.kind);
    case BlockCode::kBoldOn:
      list().wanted.bold = true;
      return;
    case BlockCode::kBoldOff:
      list().wanted.bold = false;
      return;
    case BlockCode::kEject:
      if (run.kind == BlockKind::kBody) page_end();
      return;
    default:
      return tell_unknown(instruction);
  }
}

void obey(const BlockStep& step, Run& run) {
  switch (step.instruction.code) {
    case BlockCode::kText:
      return print_words(step, run);
    case BlockCode::kField:
      return print_variable(step, run);
    case BlockCode::kRecordField:
      return print_record_field(step, run);
    case BlockCode::kShortDate:
      return run.text.add_text(print_short_date(list().today), step.instruction);
    case BlockCode::kLongDate:
      return run.text.add_text(list().today, step.instruction);
    case BlockCode::kPage:
      return print_page_number(step, run);
    case BlockCode::kPlace:
      return place(step, run);
    case BlockCode::kJump:
      return jump(step, run);
    default:
      if (is_register(step.instruction.code)) return print_register(step, run);
      return obey_order(step, run);
  }
}

Block& block_entry(std::string_view name) {
  // A plain comparison: the operator would call into the library for each line of a list.
  if (list().last_block != nullptr && std::ranges::equal(list().last_block->first, name))
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
  if (block.ready) return &block;
  BlockInstructions instructions;
  std::string reason = "its offset is negative";
  if (block.properties.offset < 0 ||
      !decode_block(list().store, static_cast<std::uint32_t>(block.properties.offset), instructions,
                    reason)) {
    tell(name, std::string(list().files->store).append(": ").append(reason), "_BLONF_");
    return nullptr;
  }
  block.steps = block_steps(instructions);
  block.ready = true;
  return &block;
}

void block_run(std::string_view name, BlockKind kind) {
  if (list().aborted) return;
  const Block* block = block_find(name);
  if (block == nullptr) return;
  list().column_pitch = list().list_column_pitch;
  BlockText text(kind);
  Run run{.block = *block, .kind = kind, .text = text};
  const std::span<const BlockStep> steps(block->steps);
  while (run.next < steps.size() && !list().aborted)
    obey(steps[run.next++], run);
  run.text.print();
  if (kind == BlockKind::kHeader && !list().aborted) page_next_line();
}

}  // namespace marigold::inner
