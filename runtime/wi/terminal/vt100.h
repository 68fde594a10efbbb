// SPDX-License-Identifier: GPL-3.0-or-later
// Makes the bytes by which a VT100 shows the output of the terminal layer. Collects them and writes
// them to standard output on flush, or when there are many. Ignores write errors, because no screen
// is left to report them on.
//
// No byte of a cell acts as a control character: characters below 32 and 127 appear as ".", and so
// do bytes from 128 to 159 on a terminal whose character set has controls there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "marigold/core.h"
#include "runtime/core/terminal_text.h"

namespace marigold::inner {

class Vt100 {
 public:
  // Unknown: code page 437, the screen's own, with letters in the whole upper half.
  void set_charset(TerminalCharset charset) { charset_ = charset; }
  // Moves the cursor to the first column of the first row and erases everything after it.
  void clear();
  // Column and row from 1.
  void place_cursor(int column, int row);
  void bell();
  // Changes from the attribute of the last cell to this one.
  void set_attribute(std::uint8_t attribute);
  // Sets normal video, whatever the terminal's state.
  void reset_attribute();
  // Writes a cell. 0, a character without a byte, appears as ".".
  void put(std::uint8_t byte);
  void flush();
  // Forgets the bytes since the last flush.
  void drop();
  // Whether some bytes have been sent since then, because there were too many to keep.
  [[nodiscard]] bool has_sent_part() const { return has_sent_part_; }
  // Bytes collected.
  [[nodiscard]] std::size_t size() const { return bytes_.length(); }

 private:
  // More than the rows of a full screen with all their attributes.
  static constexpr std::size_t kCapacity = 8192;

  [[nodiscard]] bool is_control(std::uint8_t byte) const;
  void append(std::string_view bytes);

  // The terminal's state as far as later bytes depend on it.
  struct Standing {
    std::uint8_t attribute = 0;  // of the last cell
    char last = 0;               // byte
  };

  TextBuffer<kCapacity> bytes_;
  Standing now_;   // after the bytes collected
  Standing sent_;  // after the bytes sent
  bool has_sent_part_ = false;
  TerminalCharset charset_ = TerminalCharset::kUnknown;
};

}  // namespace marigold::inner
