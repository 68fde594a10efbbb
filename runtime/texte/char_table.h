// SPDX-License-Identifier: GPL-3.0-or-later
// The tables between the console's characters and those of the runtime, which are ISO 8859-1: one
// for the bytes from the keyboard, one for the bytes to the screen.
//
// Process-wide. The built-in tables are those of code page 437 with a few pairs of the platform's
// own; they are in force from the start of the process. A file `char_table` of a language replaces
// either of them on demand; docs/formats/char-table.md describes the file.
#pragma once

#include <cstddef>
#include <cstdint>

namespace marigold::inner {

enum class CharTable { kInput = 0, kOutput = 1 };

// Longest line of a char_table file, in bytes.
inline constexpr std::size_t kLongestCharTableLine = 1023;

// Sets both tables to the built-in ones, and replaces them by those of the languages that
// INPUT_MAPPING and OUTPUT_MAPPING name, if these are set (an empty value counts as set). For a
// language without a file the settings' language serves. If that language has no file either, a
// warning goes to standard error, even without a variable, and the built-in table stays. Call it
// when the terminal starts, after the settings are read. A value of 250 characters or more is
// system error 17; further errors as for char_table_load.
void char_tables_load();

// Replaces one table by the content of a file; a byte or character that the file does not mention
// has no counterpart. A file that cannot be read leaves the table as it was. A line of more than
// 1023 bytes is system error 38.
void char_table_load(CharTable table, const char* path);

// Returns the character for a byte of the keyboard; 0: none.
std::uint8_t char_map_input(std::uint8_t byte);

// Returns the byte that shows a character on the screen; 0: none.
std::uint8_t char_map_output(std::uint8_t character);

}  // namespace marigold::inner
