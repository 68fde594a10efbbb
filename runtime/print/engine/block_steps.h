// SPDX-License-Identifier: GPL-3.0-or-later
// A block made ready to be printed many times: what is the same each time is worked out once.
#pragma once

#include <vector>

#include "runtime/core/edit_mask.h"
#include "runtime/print/engine/variables.h"
#include "runtime/print/files/block_code.h"

namespace marigold {

// What kPlace asks for, with its numbers known.
struct PlaceOrder {
  PlaceMode line_mode = PlaceMode::kCurrent;
  int line = 0;
  PlaceMode column_mode = PlaceMode::kCurrent;
  int column = 0;
};

// An instruction and what follows from it. The texts lie where those of the instruction do.
struct BlockStep {
  Instruction instruction;
  NumberMask mask;                     // of what has one
  const Variable* variable = nullptr;  // of kField and kJump
  PlaceOrder place = {};               // of kPlace, when it is fixed
  bool is_fixed = false;               // it hangs on no variable
  bool has_markers = false;            // of kText
  std::size_t width = 0;               // of kText: of what is printed
};

// Valid as long as the variables are: until the next variables_clear.
std::vector<BlockStep> block_steps(const BlockInstructions& block);

// A number of characters, lines or columns out of a block: of a size that can be reckoned with.
int block_count(double number);
// The same of a value; false for a variable's, which is only known when the block is printed.
bool block_count_known(const BlockValue& value, int& count);

}  // namespace marigold
