// The tables between the console's characters and those of the runtime, which are ISO 8859-1: one
// for the bytes that the keyboard gives, one for those that the screen takes.
//
// Process-wide. The built-in tables are those of code page 437 with a few pairs of the platform's
// own; they are in force from the start of the process. A file `char_table` of a language replaces
// either of them on demand; what it looks like: docs/formats/char-table.md.
#pragma once

#include <cstddef>
#include <cstdint>

namespace marigold {

enum class CharTable { kInput = 0, kOutput = 1 };

// Lines of a char_table file are at most this long, in bytes.
inline constexpr std::size_t kLongestCharTableLine = 1023;

// Sets both tables: the built-in ones, replaced by those of the languages that INPUT_MAPPING and
// OUTPUT_MAPPING name, if they are set (an empty value counts as set). A language without a file
// falls back to that of the settings. Where that one has none either, a warning goes to standard
// error, also when no table was asked for, and the built-in table stays. Called when the terminal
// is started, after the settings are read. A value of 250 characters or more is system error 17,
// and errors as for char_table_load.
void char_tables_load();

// Replaces one table by the content of a file; what the file does not mention has no counterpart.
// A file that cannot be read leaves the table as it was. A line of more than 1023 bytes is system
// error 38.
void char_table_load(CharTable table, const char* path);

// The character that a byte of the keyboard stands for; 0: none.
std::uint8_t char_map_input(std::uint8_t byte);

// The byte that shows a character on the screen; 0: it cannot be shown.
std::uint8_t char_map_output(std::uint8_t character);

}  // namespace marigold
