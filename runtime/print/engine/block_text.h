// SPDX-License-Identifier: GPL-3.0-or-later
// What a block prints in one piece: words and values, one behind the other, until the block does
// something else. Most lines are made of many short ones.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "runtime/print/engine/block_steps.h"
#include "runtime/print/engine/list_state.h"

namespace marigold {

class BlockText {
 public:
  explicit BlockText(BlockKind kind) : kind_(kind) {}

  // The words of the block itself, without markers.
  void add_words(std::string_view words);
  // Both align in the field's width, when it has one. Control characters of a text become blanks:
  // the printer would take them for its own.
  void add_text(std::string_view text, const Instruction& field);
  // Prints asterisks for a number that does not fit, and reports it (list_on_overflow).
  void add_number(const NumberMask& mask, double number, const Instruction& field);
  // A number that is printed as this text.
  void add_number(std::string_view text, double number, const Instruction& field);
  // Blanks in the place of a value that is empty.
  void add_empty(const Instruction& field);

  // Prints what has been added, where the block stands (page_print).
  void print() {
    if (length_ > 0) print_some();
  }

 private:
  void print_some();
  // At most as many as a line is wide; they are taken as written.
  char* room(std::size_t size) {
    if (size > text_.size() - length_) print();
    return text_.data() + std::exchange(length_, length_ + size);
  }
  void add_piece(std::string_view piece);
  void add_aligned(std::string_view text, const Instruction& field);
  // Of the last `size` characters.
  void report_overflow(std::string_view mask, double number, std::size_t size,
                       const Instruction& field);

  BlockKind kind_;
  std::size_t length_ = 0;
  std::array<char, kWidestLine> text_;
};

}  // namespace marigold
