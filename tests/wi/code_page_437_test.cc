// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/code_page_437.h"

#include "tests/support/support.h"

namespace marigold::inner::test {

static std::string shown(const TerminalGlyphs& glyphs, const std::string& bytes) {
  std::string all;
  for (const unsigned char byte : bytes)
    all.append(glyphs[byte].bytes.data(), glyphs[byte].size);
  return all;
}

TEST(CodePage437Test, GlyphsAreThoseOfTheCLibraryAndLeadBack) {
  const WorkDirectory directory;
  std::string controls(1, '\0');  // no glyphs for the library
  std::string others;
  for (int byte = 1; byte < 256; ++byte) {
    (byte < 32 || byte == 127 ? controls : others) += static_cast<char>(byte);
    EXPECT_EQ(code_page_437_byte(code_page_437_character(static_cast<std::uint8_t>(byte))), byte);
  }
  write_file("others", others);
  const TerminalGlyphs glyphs = terminal_glyphs(TerminalCharacters::kUtf8);
  EXPECT_EQ(shown(glyphs, others), run_shell("iconv -f CP437 -t UTF-8 others").out);
  EXPECT_EQ(shown(glyphs, controls), " ☺☻♥♦♣♠•◘○◙♂♀♪♫☼►◄↕‼¶§▬↨↑↓→←∟↔▲▼⌂");
  for (const char32_t other : {0x0U, 0x9FU, 0x102500U, 0xFFFFFFFFU})
    EXPECT_EQ(code_page_437_byte(other), 0);
}

TEST(CodePage437Test, TheEnvironmentNamesTheCharactersThatATerminalHas) {
  // LC_ALL, LC_CTYPE, LANG, TERM; a corner, a horizontal line, a double vertical line, "ä".
  const std::array<const char*, 5> rows[] = {
      {nullptr, nullptr, "de_DE.UTF-8", "vt220", "┌─║ä"},
      {"", "C.utf8@euro", "C", nullptr, "┌─║ä"},
      {"de_DE.UTF-80", "de_DE.UTF-8", "de_DE.UTF-8", "xterm", "+-|\xE4"},
      {"C", nullptr, nullptr, "vt100", "lqx\xE4"}};
  for (const auto& [lc_all, lc_ctype, lang, term, frame] : rows) {
    const auto glyphs = terminal_glyphs(terminal_characters(lc_all, lc_ctype, lang, term));
    EXPECT_EQ(shown(glyphs, "\xDA\xC4\xBA\x84"), frame);
    EXPECT_EQ(glyphs[218].graphic, *frame == 'l');
  }
}

}  // namespace marigold::inner::test
