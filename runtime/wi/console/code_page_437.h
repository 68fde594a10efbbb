// SPDX-License-Identifier: GPL-3.0-or-later
// Code page 437, the character set of the console's cells and key bytes: its 256 glyphs as Unicode
// characters, and the bytes that show them on a terminal of another character set.
#pragma once

#include <array>
#include <cstdint>

namespace marigold::inner {

// Returns the glyph of a byte. Bytes below 32 and 127 have glyphs too, as the Windows console shows
// them; 0 is a blank.
char16_t code_page_437_character(std::uint8_t byte);
// Returns the byte of a character, 0 if the code page does not have it.
std::uint8_t code_page_437_byte(char32_t character);

// Characters that a terminal understands.
enum class TerminalCharacters {
  kUtf8,
  kLatin,       // ISO 8859-1; frames are made of "+-|"
  kGraphicSet,  // the same, and the line-drawing set of the VT100 as G1
};

// Chooses UTF-8 if the locale's name has it, otherwise the graphic set on terminals whose TERM
// begins with "vt", otherwise ISO 8859-1. Takes values of the environment, null for a variable that
// is not set (see terminal_charset in core/terminal_text.h).
TerminalCharacters terminal_characters(const char* lc_all, const char* lc_ctype, const char* lang,
                                       const char* term);

// The bytes that show one glyph; with `graphic` they are of the graphic set.
struct TerminalGlyph {
  std::array<char, 3> bytes{};
  std::uint8_t size = 0;
  bool graphic = false;
};
using TerminalGlyphs = std::array<TerminalGlyph, 256>;

// Returns the glyphs by bytes of code page 437. No byte of a glyph is a control character.
TerminalGlyphs terminal_glyphs(TerminalCharacters characters);

}  // namespace marigold::inner
