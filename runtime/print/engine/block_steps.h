// SPDX-License-Identifier: GPL-3.0-or-later
// Prepares a block for many printings: work with the same result each time is done once.
#pragma once

#include <vector>

#include "runtime/core/edit_mask.h"
#include "runtime/print/engine/variables.h"
#include "runtime/print/files/block_code.h"

namespace marigold::inner {

// The order of a kPlace instruction, with known numbers.
struct PlaceOrder {
  PlaceMode line_mode = PlaceMode::kCurrent;
  int line = 0;
  PlaceMode column_mode = PlaceMode::kCurrent;
  int column = 0;
};

// An instruction with prepared data. Its texts lie where those of the instruction do.
struct BlockStep {
  Instruction instruction;
  NumberMask mask;                     // of an instruction with a mask
  const Variable* variable = nullptr;  // of kField and kJump
  PlaceOrder place = {};               // of kPlace, if is_fixed
  bool is_fixed = false;               // depends on no variable
  bool has_markers = false;            // of kText
  std::size_t width = 0;               // of kText: width of the printed text
};

// Returns the steps, which are valid as long as the variables are: until the next variables_clear.
std::vector<BlockStep> block_steps(const BlockInstructions& block);

// Returns a block's number of characters, lines or columns, cut to a size that sums cannot
// overflow.
int block_count(double number);
// Gives the count of a value; returns false for a variable, whose value is known only at the
// printing of the block.
bool block_count_known(const BlockValue& value, int& count);

}  // namespace marigold::inner
