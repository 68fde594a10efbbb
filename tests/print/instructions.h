// SPDX-License-Identifier: GPL-3.0-or-later
// Instructions of blocks, for lists and sources of lists.
#pragma once

#include "runtime/print/files/block_code.h"

namespace marigold::inner::test {

inline BlockValue number(std::int32_t value) {
  return {.integer = value};
}
// Lines and columns; modes: 1 absolute, 2 current, 3 relative to the current one.
inline Instruction place(int line_mode, int line, int column_mode = 1, int column = 1) {
  return {.code = BlockCode::kPlace,
          .values = {number(line_mode), number(line), number(column_mode), number(column)}};
}
inline Instruction words(std::string_view text) {
  return {.code = BlockCode::kText, .text = text};
}
inline Instruction only(BlockCode code, int value = 0) {
  return {.code = code, .values = {number(value)}};
}
inline Instruction masked(BlockCode code, std::string_view mask) {
  return {.code = code, .mask = mask};
}
inline Instruction next_line() {
  return place(3, 1);
}

}  // namespace marigold::inner::test
