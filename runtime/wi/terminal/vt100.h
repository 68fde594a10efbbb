// The bytes by which a VT100 shows what the terminal layer is asked for. They are collected, and go
// to standard output when they are flushed or there are many of them. Write errors are ignored:
// there is no screen left to report them on.
//
// Whatever a cell holds, no terminal takes it for a control character: those below 32 and 127 come
// out as ".", and so do bytes from 128 to 159 where the terminal's own characters make controls of
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "marigold/core.h"
#include "runtime/core/terminal_text.h"

namespace marigold {

class Vt100 {
 public:
  // Unknown: code page 437, which the screen is made for, with letters in the whole upper half.
  void set_charset(TerminalCharset charset) { charset_ = charset; }
  // Cursor to the first column of the first row, and everything behind it erased.
  void clear();
  // Column and row from 1.
  void place_cursor(int column, int row);
  void bell();
  // What it takes to get from the attribute of the last cell to this one.
  void set_attribute(std::uint8_t attribute);
  // Normal video, whatever the terminal is in.
  void reset_attribute();
  // A cell. 0, a character that cannot be shown, comes out as ".".
  void put(std::uint8_t byte);
  void flush();

 private:
  // More than the rows of a full screen with all their attributes.
  static constexpr std::size_t kCapacity = 8192;

  [[nodiscard]] bool is_control(std::uint8_t byte) const;
  void append(std::string_view bytes);

  TextBuffer<kCapacity> bytes_;
  std::uint8_t attribute_ = 0;  // of the last cell
  TerminalCharset charset_ = TerminalCharset::kUnknown;
  char last_ = 0;  // byte appended
};

}  // namespace marigold
