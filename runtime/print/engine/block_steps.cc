// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/engine/block_steps.h"

#include <algorithm>
#include <cmath>

#include "runtime/print/output/meta_marker.h"

namespace marigold::inner {
namespace {

constexpr std::int32_t kMostCounted = 1'000'000;

void fix_place(BlockStep& step) {
  const auto& values = step.instruction.values;
  int line_mode = 0;
  int column_mode = 0;
  step.is_fixed =
      block_count_known(values[0], line_mode) && block_count_known(values[1], step.place.line) &&
      block_count_known(values[2], column_mode) && block_count_known(values[3], step.place.column);
  step.place.line_mode = static_cast<PlaceMode>(line_mode);
  step.place.column_mode = static_cast<PlaceMode>(column_mode);
}

std::size_t width_of(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const std::size_t marker = text.find(kMarkerByte);
    width += std::min(marker, text.size());
    if (marker == std::string_view::npos) break;
    const std::size_t end = text.find(kMarkerByte, marker + 1);
    if (end == std::string_view::npos) break;  // the channel reports it
    width += marker_width(marker_of(text.substr(marker + 1, end - marker - 1)));
    text.remove_prefix(end + 1);
  }
  return width;
}

BlockStep step_of(const Instruction& instruction) {
  BlockStep step{.instruction = instruction, .mask = NumberMask(instruction.mask)};
  switch (instruction.code) {
    case BlockCode::kPlace:
      fix_place(step);
      break;
    case BlockCode::kText:
      step.has_markers = instruction.text.find(kMarkerByte) != std::string_view::npos;
      step.width = width_of(instruction.text);
      break;
    case BlockCode::kField:
    case BlockCode::kJump:
      step.variable = variable_place(instruction.text, instruction.generation);
      break;
    default:
      break;
  }
  return step;
}

}  // namespace

std::vector<BlockStep> block_steps(const BlockInstructions& block) {
  std::vector<BlockStep> steps;
  steps.reserve(block.size());
  for (const Instruction& instruction : block)
    steps.push_back(step_of(instruction));
  return steps;
}

int block_count(double number) {
  constexpr double kMost = kMostCounted;
  return number > -kMost ? static_cast<int>(std::floor(std::min(number, kMost) + 0.5))
                         : -kMostCounted;
}

bool block_count_known(const BlockValue& value, int& count) {
  if (value.kind == BlockValue::Kind::kVariable) return false;
  const bool is_integer = value.kind == BlockValue::Kind::kInteger;
  count = is_integer ? std::clamp(value.integer, -kMostCounted, kMostCounted)
                     : block_count(value.number);
  return true;
}

}  // namespace marigold::inner
