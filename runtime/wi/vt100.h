// The bytes by which a VT100 shows what the terminal layer is asked for. They are collected, and go
// to standard output when they are flushed or there are many of them. Write errors are ignored:
// there is no screen left to report them on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "runtime/core/text_buffer.h"

namespace marigold {

class Vt100 {
 public:
  // Cursor to the first column of the first row, and everything behind it erased.
  void clear();
  // Column and row from 1.
  void place_cursor(int column, int row);
  void bell();
  // What it takes to get from the attribute of the last cell to this one.
  void set_attribute(std::uint8_t attribute);
  // A cell. 0, a character that cannot be shown, comes out as ".".
  void put(std::uint8_t byte);
  void flush();

 private:
  // More than the rows of a full screen with all their attributes.
  static constexpr std::size_t kCapacity = 8192;

  void append(std::string_view bytes);

  TextBuffer<kCapacity> bytes_;
  std::uint8_t attribute_ = 0;  // of the last cell
};

}  // namespace marigold
