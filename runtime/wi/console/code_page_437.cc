// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/code_page_437.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "runtime/core/terminal_text.h"

namespace marigold::inner {
namespace {

// clang-format off
constexpr std::array<char16_t, 256> kCharacters = {
    0x0020, 0x263A, 0x263B, 0x2665, 0x2666, 0x2663, 0x2660, 0x2022,
    0x25D8, 0x25CB, 0x25D9, 0x2642, 0x2640, 0x266A, 0x266B, 0x263C,
    0x25BA, 0x25C4, 0x2195, 0x203C, 0x00B6, 0x00A7, 0x25AC, 0x21A8,
    0x2191, 0x2193, 0x2192, 0x2190, 0x221F, 0x2194, 0x25B2, 0x25BC,
    0x0020, 0x0021, 0x0022, 0x0023, 0x0024, 0x0025, 0x0026, 0x0027,
    0x0028, 0x0029, 0x002A, 0x002B, 0x002C, 0x002D, 0x002E, 0x002F,
    0x0030, 0x0031, 0x0032, 0x0033, 0x0034, 0x0035, 0x0036, 0x0037,
    0x0038, 0x0039, 0x003A, 0x003B, 0x003C, 0x003D, 0x003E, 0x003F,
    0x0040, 0x0041, 0x0042, 0x0043, 0x0044, 0x0045, 0x0046, 0x0047,
    0x0048, 0x0049, 0x004A, 0x004B, 0x004C, 0x004D, 0x004E, 0x004F,
    0x0050, 0x0051, 0x0052, 0x0053, 0x0054, 0x0055, 0x0056, 0x0057,
    0x0058, 0x0059, 0x005A, 0x005B, 0x005C, 0x005D, 0x005E, 0x005F,
    0x0060, 0x0061, 0x0062, 0x0063, 0x0064, 0x0065, 0x0066, 0x0067,
    0x0068, 0x0069, 0x006A, 0x006B, 0x006C, 0x006D, 0x006E, 0x006F,
    0x0070, 0x0071, 0x0072, 0x0073, 0x0074, 0x0075, 0x0076, 0x0077,
    0x0078, 0x0079, 0x007A, 0x007B, 0x007C, 0x007D, 0x007E, 0x2302,
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7,
    0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5,
    0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,
    0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192,
    0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA,
    0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556,
    0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510,
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567,
    0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,
    0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229,
    0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248,
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};
// clang-format on

struct CharacterByte {
  char16_t character;
  std::uint8_t byte;
};

// Returns the bytes sorted by character, without byte 0, whose blank is byte 32.
constexpr std::array<CharacterByte, 255> sorted_characters() {
  std::array<CharacterByte, 255> sorted{};
  for (std::size_t byte = 1; byte < kCharacters.size(); ++byte)
    sorted[byte - 1] = {kCharacters[byte], static_cast<std::uint8_t>(byte)};
  std::ranges::sort(sorted, {}, &CharacterByte::character);
  return sorted;
}
constexpr std::array<CharacterByte, 255> kSorted = sorted_characters();

struct Substitute {
  std::u16string_view characters;
  char ascii;
};

// Substitutes for glyphs that ISO 8859-1 does not have; "?" for glyphs without an entry. Letters
// become the Latin letter that looks or sounds like them.
constexpr Substitute kSubstitutes[] = {
    {u"\u2500\u2550", '-'},
    {u"\u2502\u2551\u2195\u21A8\u2320\u2321\u258C\u2590", '|'},
    {u"\u250C\u2510\u2514\u2518\u251C\u2524\u252C\u2534\u253C\u2552\u2553\u2554\u2555\u2556", '+'},
    {u"\u2557\u2558\u2559\u255A\u255B\u255C\u255D\u255E\u255F\u2560\u2561\u2562\u2563\u2564", '+'},
    {u"\u2565\u2566\u2567\u2568\u2569\u256A\u256B\u256C", '+'},
    {u"\u2591\u2592\u2593\u2588\u2580\u2584\u25A0\u25D8\u25D9\u25AC", '#'},
    {u"\u2191\u25B2", '^'},
    {u"\u2193\u25BC\u221A", 'v'},
    {u"\u2190\u25C4\u2264", '<'},
    {u"\u2192\u25BA\u2265", '>'},
    {u"\u2022\u2219\u25CB\u2663\u2660\u2665\u2666\u263C", '*'},
    {u"\u2194\u2310", '-'},
    {u"\u2261", '='},
    {u"\u2248", '~'},
    {u"\u203C", '!'},
    {u"\u03B1", 'a'},
    {u"\u03B4", 'd'},
    {u"\u03B5", 'e'},
    {u"\u0192", 'f'},
    {u"\u207F\u2229", 'n'},
    {u"\u03C0", 'p'},
    {u"\u03C3", 's'},
    {u"\u03C4", 't'},
    {u"\u0393", 'G'},
    {u"\u221F", 'L'},
    {u"\u03A6\u03C6\u0398\u03A9", 'O'},
    {u"\u20A7", 'P'},
    {u"\u03A3", 'S'},
    {u"\u221E", '8'},
};

// The VT100's graphic set: double lines become single ones.
constexpr Substitute kGraphicSet[] = {
    {u"\u2500\u2550", 'q'},
    {u"\u2502\u2551", 'x'},
    {u"\u250C\u2552\u2553\u2554", 'l'},
    {u"\u2510\u2555\u2556\u2557", 'k'},
    {u"\u2514\u2558\u2559\u255A", 'm'},
    {u"\u2518\u255B\u255C\u255D", 'j'},
    {u"\u251C\u255E\u255F\u2560", 't'},
    {u"\u2524\u2561\u2562\u2563", 'u'},
    {u"\u252C\u2564\u2565\u2566", 'w'},
    {u"\u2534\u2567\u2568\u2569", 'v'},
    {u"\u253C\u256A\u256B\u256C", 'n'},
    {u"\u2591\u2592\u2593\u2588", 'a'},
    {u"\u2666", '`'},
    {u"\u2022\u2219", '~'},
    {u"\u2264", 'y'},
    {u"\u2265", 'z'},
    {u"\u03C0", '{'},
};

template <std::size_t count>
char find_substitute(const Substitute (&table)[count], char16_t character) {
  for (const Substitute& row : table) {
    if (row.characters.find(character) != std::u16string_view::npos) return row.ascii;
  }
  return 0;
}

TerminalGlyph single_byte(unsigned value, bool graphic = false) {
  return {.bytes = {static_cast<char>(value)}, .size = 1, .graphic = graphic};
}

// All glyphs are in the first 65,536 characters, so they take at most three bytes.
TerminalGlyph utf8_glyph(char16_t character) {
  const unsigned value = character;
  const auto continued = [](unsigned bits) { return static_cast<char>(0x80U | (bits & 0x3FU)); };
  if (value < 0x80U) return single_byte(value);
  if (value < 0x800U)
    return {.bytes = {static_cast<char>(0xC0U | (value >> 6U)), continued(value)}, .size = 2};
  return {.bytes = {static_cast<char>(0xE0U | (value >> 12U)), continued(value >> 6U),
                    continued(value)},
          .size = 3};
}

TerminalGlyph latin_glyph(char16_t character) {
  if (character <= 0xFFU) return single_byte(character);
  const char found = find_substitute(kSubstitutes, character);
  return single_byte(static_cast<unsigned char>(found != 0 ? found : '?'));
}

TerminalGlyph graphic_glyph(char16_t character) {
  const char found = find_substitute(kGraphicSet, character);
  return found != 0 ? single_byte(static_cast<unsigned char>(found), true) : latin_glyph(character);
}

bool is_there(const char* value) {
  return value != nullptr && *value != 0;
}

}  // namespace

char16_t code_page_437_character(std::uint8_t byte) {
  return kCharacters[byte];
}

std::uint8_t code_page_437_byte(char32_t character) {
  if (character > 0xFFFFU) return 0;
  const auto wanted = static_cast<char16_t>(character);
  const auto* found = std::ranges::lower_bound(kSorted, wanted, {}, &CharacterByte::character);
  return found != kSorted.end() && found->character == wanted ? found->byte : 0;
}

TerminalCharacters terminal_characters(const char* lc_all, const char* lc_ctype, const char* lang,
                                       const char* term) {
  if (terminal_charset(lc_all, lc_ctype, lang) == TerminalCharset::kUtf8)
    return TerminalCharacters::kUtf8;
  if (is_there(term) && std::string_view(term).starts_with("vt"))
    return TerminalCharacters::kGraphicSet;
  return TerminalCharacters::kLatin;
}

TerminalGlyphs terminal_glyphs(TerminalCharacters characters) {
  const auto make = characters == TerminalCharacters::kUtf8    ? utf8_glyph
                    : characters == TerminalCharacters::kLatin ? latin_glyph
                                                               : graphic_glyph;
  TerminalGlyphs glyphs;
  for (std::size_t byte = 0; byte < glyphs.size(); ++byte)
    glyphs[byte] = make(kCharacters[byte]);
  return glyphs;
}

}  // namespace marigold::inner
