#include "runtime/wi/code_page_437.h"

#include <iconv.h>

#include <set>
#include <string>

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
  if (iconv(converter, &in_place, &in_left, &out_place, &out_left) != 0) return "no conversion";
  return {out, out_place};
}

}  // namespace

TEST(CodePage437Test, GlyphsAreThoseOfTheCLibrary) {
  const TerminalGlyphs glyphs = terminal_glyphs(TerminalCharacters::kUtf8);
  const iconv_t converter = iconv_open("UTF-8", "CP437");
  ASSERT_NE(converter, iconv_t(-1));
  for (int byte = 32; byte < 256; ++byte) {
    if (byte == 127) continue;  // a control character there
    const auto value = static_cast<std::uint8_t>(byte);
    EXPECT_EQ(shown(glyphs, value), converted(converter, value)) << byte;
  }
  iconv_close(converter);
  const std::pair<std::uint8_t, const char*> controls[] = {
      {0, " "}, {1, "☺"}, {3, "♥"}, {13, "♪"}, {16, "►"}, {24, "↑"}, {31, "▼"}, {127, "⌂"}};
  for (const auto& [byte, glyph] : controls)
    EXPECT_EQ(shown(glyphs, byte), glyph);
}

TEST(CodePage437Test, CharactersLeadBackToTheirBytes) {
  std::set<char16_t> seen;
  for (int byte = 1; byte < 256; ++byte) {
    const char16_t character = code_page_437_character(static_cast<std::uint8_t>(byte));
    EXPECT_TRUE(seen.insert(character).second) << byte;
    EXPECT_EQ(code_page_437_byte(character), byte);
  }
  for (const char32_t other : {0x0U, 0x9FU, 0xD7U, 0x20ACU, 0x102500U, 0xFFFFFFFFU})
    EXPECT_EQ(code_page_437_byte(other), 0) << static_cast<unsigned>(other);
}

TEST(CodePage437Test, OtherTerminalsGetWhatTheyHave) {
  const TerminalGlyphs latin = terminal_glyphs(TerminalCharacters::kLatin);
  const TerminalGlyphs graphic = terminal_glyphs(TerminalCharacters::kGraphicSet);
  struct {
    std::uint8_t byte;
    const char* latin;
    const char* graphic;  // of the graphic set; null: as Latin
  } const rows[] = {{'A', "A", nullptr}, {0x84, "\xE4", nullptr}, {0xE1, "\xDF", nullptr},
                    {218, "+", "l"},     {191, "+", "k"},         {196, "-", "q"},
                    {179, "|", "x"},     {0xCD, "-", "q"},        {0xCE, "+", "n"},
                    {0xB1, "#", "a"},    {1, "?", nullptr}};
  for (const auto& row : rows) {
    EXPECT_EQ(shown(latin, row.byte), row.latin);
    EXPECT_EQ(shown(graphic, row.byte), row.graphic != nullptr ? row.graphic : row.latin);
    EXPECT_EQ(graphic[row.byte].graphic, row.graphic != nullptr);
  }
}

TEST(CodePage437Test, TheLocaleAndTheTerminalNameTheCharacters) {
  constexpr auto kUtf8 = TerminalCharacters::kUtf8;
  constexpr auto kLatin = TerminalCharacters::kLatin;
  struct {
    const char* lc_all;
    const char* lc_ctype;
    const char* lang;
    const char* term;
    TerminalCharacters expected;
  } const rows[] = {{nullptr, nullptr, "de_DE.UTF-8", "vt220", kUtf8},
                    {"", "C.utf8@euro", "C", nullptr, kUtf8},
                    {"C", "de_DE.UTF-8", "de_DE.UTF-8", "xterm", kLatin},
                    {nullptr, nullptr, nullptr, nullptr, kLatin},
                    {"de_DE.UTF-80", nullptr, nullptr, "", kLatin},
                    {"C", nullptr, nullptr, "vt100", TerminalCharacters::kGraphicSet}};
  for (const auto& row : rows)
    EXPECT_EQ(terminal_characters(row.lc_all, row.lc_ctype, row.lang, row.term), row.expected);
}

}  // namespace marigold::test
