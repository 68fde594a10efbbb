#include "runtime/wi/code_page_437.h"

#include <iconv.h>

#include "tests/support/support.h"

namespace marigold::test {
namespace {

std::string shown(const TerminalGlyphs& glyphs, std::uint8_t byte) {
  return {glyphs[byte].bytes.data(), glyphs[byte].size};
}

// What the C library makes of a byte of the code page.
std::string converted(iconv_t converter, std::uint8_t byte) {
  char in = static_cast<char>(byte);
  char out[8];
  char* in_place = &in;
  char* out_place = out;
  std::size_t in_left = 1;
  std::size_t out_left = sizeof out;
  return iconv(converter, &in_place, &in_left, &out_place, &out_left) == 0
             ? std::string(out, out_place)
             : "";
}

}  // namespace

TEST(CodePage437Test, GlyphsAreThoseOfTheCLibraryAndLeadBack) {
  const TerminalGlyphs glyphs = terminal_glyphs(TerminalCharacters::kUtf8);
  const iconv_t converter = iconv_open("UTF-8", "CP437");
  for (int byte = 1; byte < 256; ++byte) {
    const auto value = static_cast<std::uint8_t>(byte);
    EXPECT_EQ(code_page_437_byte(code_page_437_character(value)), byte);
    if (byte < 32 || byte == 127) continue;  // control characters there
    EXPECT_EQ(shown(glyphs, value), converted(converter, value)) << byte;
  }
  iconv_close(converter);
  const std::string controls = " ☺☻♥♦♣♠•◘○◙♂♀♪♫☼►◄↕‼¶§▬↨↑↓→←∟↔▲▼";
  std::string all;
  for (std::uint8_t byte = 0; byte < 32; ++byte)
    all += shown(glyphs, byte);
  EXPECT_EQ(all, controls);
  for (const char32_t other : {0x0U, 0x9FU, 0x20ACU, 0x102500U, 0xFFFFFFFFU})
    EXPECT_EQ(code_page_437_byte(other), 0);
}

TEST(CodePage437Test, TheEnvironmentNamesTheCharactersThatATerminalHas) {
  struct {
    const char* lc_all;
    const char* lc_ctype;
    const char* lang;
    const char* term;
    const char* frame;  // a corner, a horizontal line, a double vertical line, "ä"
  } const rows[] = {{nullptr, nullptr, "de_DE.UTF-8", "vt220", "┌─║ä"},
                    {"", "C.utf8@euro", "C", nullptr, "┌─║ä"},
                    {"C", "de_DE.UTF-8", "de_DE.UTF-8", "xterm", "+-|\xE4"},
                    {nullptr, nullptr, nullptr, nullptr, "+-|\xE4"},
                    {"de_DE.UTF-80", nullptr, nullptr, "", "+-|\xE4"},
                    {"C", nullptr, nullptr, "vt100", "lqx\xE4"}};
  for (const auto& row : rows) {
    const TerminalGlyphs glyphs =
        terminal_glyphs(terminal_characters(row.lc_all, row.lc_ctype, row.lang, row.term));
    EXPECT_EQ(shown(glyphs, 218) + shown(glyphs, 196) + shown(glyphs, 186) + shown(glyphs, 132),
              row.frame);
    EXPECT_EQ(glyphs[218].graphic, row.frame[0] == 'l');
  }
}

}  // namespace marigold::test
