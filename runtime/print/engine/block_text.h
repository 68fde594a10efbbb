// SPDX-License-Identifier: GPL-3.0-or-later
// Collects words and values that a block prints one after the other, and prints them in one piece.
// Most lines consist of many short ones.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "runtime/print/engine/block_steps.h"
#include "runtime/print/engine/list_state.h"

namespace marigold::inner {

class BlockText {
 public:
  explicit BlockText(BlockKind kind) : kind_(kind) {}

  // Adds words of the block itself, without markers.
  void add_words(std::string_view words);
  // Both functions align in the field's width, if it has one. Control characters of a text become
  // blanks: the printer would take them for commands.
  void add_text(std::string_view text, const Instruction& field);
  // Prints asterisks for a number that does not fit, and reports it (list_on_overflow).
  void add_number(const NumberMask& mask, double number, const Instruction& field);
  // Prints this text for a number.
  void add_number(std::string_view text, double number, const Instruction& field);
  // Adds blanks for an empty value.
  void add_empty(const Instruction& field);

  // Prints the collected text at the block's place (page_print).
  void print() {
    if (length_ > 0) print_some();
  }

 private:
  void print_some();
  // Returns room for that many characters, at most a line's width; they count as written.
  char* room(std::size_t size) {
    if (size > text_.size() - length_) print();
    return text_.data() + std::exchange(length_, length_ + size);
  }
  void add_piece(std::string_view piece);
  void add_aligned(std::string_view text, const Instruction& field);
  // Reports the number in the last `size` characters.
  void report_overflow(std::string_view mask, double number, std::size_t size,
                       const Instruction& field);

  BlockKind kind_;
  std::size_t length_ = 0;
  std::array<char, kWidestLine> text_;
};

}  // namespace marigold::inner
