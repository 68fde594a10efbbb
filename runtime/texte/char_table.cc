// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/char_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "runtime/core/settings.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/terminal_text.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"
#include "runtime/texte/language.h"

namespace marigold::inner {
namespace {

constexpr const char* kFileName = "char_table";

constexpr int kCharacters = 256;
using Table = std::array<std::uint8_t, kCharacters>;
using UpperHalf = std::array<std::uint8_t, kCharacters / 2>;

// clang-format off

// Code page 437 to ISO 8859-1, from byte 128. Keyboards of the platform give a multiplication sign
// for the ligature ae (145), and a middle dot for both dots (249, 250).
constexpr UpperHalf kBuiltInInput = {
    199, 252, 233, 226, 228, 224, 229, 231, 234, 235, 232, 239, 238, 236, 196, 197,
    201, 215, 198, 244, 246, 242, 251, 249, 255, 214, 220, 162, 163, 165, 164,   0,
    225, 237, 243, 250, 241, 209, 170, 186, 191,   0, 172, 189, 188, 161, 171, 187,
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
      0, 223,   0,   0,   0,   0, 181,   0,   0,   0,   0,   0,   0, 248,   0,   0,
      0, 177,   0,   0,   0,   0, 247,   0, 176, 183, 183,   0,   0, 178,   0, 160,
};

// ISO 8859-1 to code page 437, from character 128. This table is not the inverse of the input
// table: it has no byte for the ligature ae (230), whose byte shows the multiplication sign (215).
constexpr UpperHalf kBuiltInOutput = {
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
      0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,
    255, 173, 155, 156, 158, 157,   0,   0,   0,   0, 166, 174, 170,   0,   0,   0,
    248, 241, 253,   0,   0, 230,  21, 250,   0,   0, 167, 175, 172, 171,   0, 168,
      0,   0,   0,   0, 142, 143, 146, 128,   0, 144,   0,   0,   0,   0,   0,   0,
      0, 165,   0,   0,   0,   0, 153, 145,   0,   0,   0,   0, 154,   0,   0, 225,
    133, 160, 131,   0, 132, 134,   0, 135, 138, 130, 136, 137, 141, 161, 140, 139,
      0, 164, 149, 162, 147,   0, 148, 246, 237, 151, 163, 150, 129,   0,   0, 152,
};

// Names of the characters of ISO 8859-1 in char_table files, with further names below 160.
constexpr std::array<std::string_view, kCharacters> kGlyphNames = {
    "notdef", "notdef", "notdef", "notdef", "notdef", "notdef", "notdef", "CTRL_BELL", "notdef",
    "CTRL_HTAB", "CTRL_NL", "notdef", "CTRL_FF", "CTRL_CR", "notdef", "notdef", "notdef", "notdef",
    "notdef", "notdef", "notdef", "notdef", "notdef", "notdef", "notdef", "notdef", "notdef",
    "notdef", "notdef", "notdef", "notdef", "notdef", "space", "exclam", "quotedbl", "numbersign",
    "dollar", "percent", "ampersand", "quoteright", "parenleft", "parenright", "asterisk", "plus",
    "comma", "minus", "period", "slash", "zero", "one", "two", "three", "four", "five", "six",
    "seven", "eight", "nine", "colon", "semicolon", "less", "equal", "greater", "question", "at",
    "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M", "N", "O", "P", "Q", "R", "S",
    "T", "U", "V", "W", "X", "Y", "Z", "bracketleft", "backslash", "bracketright", "asciicircum",
    "underscore", "quoteleft", "a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m", "n",
    "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z", "braceleft", "bar", "braceright",
    "asciitilde", "byte_127", "grave", "circumflex", "tilde", "dotlessi", "florin", "quotedblleft",
    "quotedblright", "guilsinglleft", "guilsinglright", "fi", "fl", "dagger", "daggerdbl", "endash",
    "bullet", "breve", "quotedblbase", "ellipsis", "perthousand", "trademark", "byte_148",
    "byte_149", "byte_150", "byte_151", "byte_152", "byte_153", "byte_154", "byte_155", "byte_156",
    "byte_157", "byte_158", "byte_159", "nobreakspace", "exclamdown", "cent", "sterling",
    "currency", "yen", "brokenbar", "section", "diaeresis", "copyright", "ordfeminine",
    "guillemotleft", "notsign", "hyphen", "registered", "macron", "degree", "plusminus",
    "twosuperior", "threesuperior", "acute", "mu", "paragraph", "periodcentered", "cedilla",
    "onesuperior", "ordmasculine", "guillemotright", "onequarter", "onehalf", "threequarters",
    "questiondown", "Agrave", "Aacute", "Acircumflex", "Atilde", "Adiaeresis", "Aring", "AE",
    "Ccedilla", "Egrave", "Eacute", "Ecircumflex", "Ediaeresis", "Igrave", "Iacute", "Icircumflex",
    "Idiaeresis", "Eth", "Ntilde", "Ograve", "Oacute", "Ocircumflex", "Otilde", "Odiaeresis",
    "multiply", "Ooblique", "Ugrave", "Uacute", "Ucircumflex", "Udiaeresis", "Yacute", "Thorn",
    "ssharp", "agrave", "aacute", "acircumflex", "atilde", "adiaeresis", "aring", "ae", "ccedilla",
    "egrave", "eacute", "ecircumflex", "ediaeresis", "igrave", "iacute", "icircumflex",
    "idiaeresis", "eth", "ntilde", "ograve", "oacute", "ocircumflex", "otilde", "odiaeresis",
    "division", "oslash", "ugrave", "uacute", "ucircumflex", "udiaeresis", "yacute", "thorn",
    "ydiaeresis",
};

// clang-format on

// The paragraph sign is the only character that the tables take from below 32 in code page 437; the
// runtime keeps control characters there.
constexpr std::uint8_t kParagraphByte = 21;
constexpr std::uint8_t kParagraph = 182;

constexpr bool stands_for_itself(std::uint8_t byte) {
  constexpr std::string_view kControls = "\a\t\n\f\r";
  return (byte >= ' ' && byte <= '~') || byte == 0 ||
         kControls.find(static_cast<char>(byte)) != std::string_view::npos;
}

constexpr Table with_lower_half(const UpperHalf& upper) {
  Table table{};
  for (std::uint8_t byte = 0; byte < kCharacters / 2; ++byte)
    table[byte] = stands_for_itself(byte) ? byte : 0;
  std::ranges::copy(upper, table.begin() + kCharacters / 2);
  return table;
}

constexpr Table built_in_input() {
  Table table = with_lower_half(kBuiltInInput);
  table[kParagraphByte] = kParagraph;
  return table;
}

struct State {
  Table input = built_in_input();
  Table output = with_lower_half(kBuiltInOutput);
};

constinit State state;

constexpr std::string_view kWhiteSpace = " \t\v\f\r";

// Takes the next word off the line; empty without a word.
std::string_view take_word(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(kWhiteSpace), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(kWhiteSpace));
  line.remove_prefix(word.size());
  return word;
}

// Whether the word is a decimal number from 0 to 255.
bool parse_byte(std::string_view word, std::uint8_t& byte) {
  const char* end = word.data() + word.size();
  const auto [stopped, error] = std::from_chars(word.data(), end, byte);
  return error == std::errc() && stopped == end;
}

// Applies a mapping and skips any other line, so that a file may hold more than this version knows.
void apply_line(CharTable which, std::string_view line) {
  if (line.starts_with('#')) return;
  std::uint8_t number = 0;
  if (!parse_byte(take_word(line), number)) return;
  const auto* name = std::ranges::find(kGlyphNames, take_word(line));
  if (name == kGlyphNames.end()) return;
  const auto character = static_cast<std::uint8_t>(name - kGlyphNames.begin());
  if (which == CharTable::kInput) {
    state.input[number] = character;
  } else {
    state.output[character] = character == 0 ? 0 : number;
  }
}

struct Side {
  CharTable table;
  const char* variable;
  const char* direction;
};

bool find_file(const RuntimeString& language, RuntimeString& path) {
  const char* searchpath = settings().language_searchpath.c_str();
  return lang_find_file(path, kFileName, searchpath, language.view()) == 0;
}

// Replaces one table if its variable is set. Searches for the file of the settings' language, and
// warns if neither language has one, even if the variable is not set.
void load_side(const Side& side) {
  const bool is_set = std::getenv(side.variable) != nullptr;
  RuntimeString language;
  settings_read_variable(side.variable, language);
  RuntimeString path;
  const bool found =
      (is_set && find_file(language, path)) || find_file(settings().language_identifier, path);
  if (!found) {
    const std::string name = error_text(settings().language_identifier.view(), LineEnds::kShown);
    std::fprintf(stderr, "Unable to locate %s mapping file '%s' for language '%s'\n",
                 side.direction, kFileName, name.c_str());
    std::fflush(stderr);
  } else if (is_set) {
    char_table_load(side.table, path.c_str());
  }
}

}  // namespace

void char_tables_load() {
  state = State{};
  load_side({CharTable::kInput, "INPUT_MAPPING", "input"});
  load_side({CharTable::kOutput, "OUTPUT_MAPPING", "output"});
}

void char_table_load(CharTable table, const char* path) {
  std::string content;
  if (file_read(path, content) != 0) return;
  (table == CharTable::kInput ? state.input : state.output).fill(0);
  std::string_view rest = content;
  while (!rest.empty()) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    if (length > kLongestCharTableLine) raise_fatal(kErrorStringTooLong);
    // Skip a last line without a line feed, because it is not finished.
    if (length == rest.size()) return;
    apply_line(table, rest.substr(0, length));
    rest.remove_prefix(length + 1);
  }
}

std::uint8_t char_map_input(std::uint8_t byte) {
  return state.input[byte];
}

std::uint8_t char_map_output(std::uint8_t character) {
  return state.output[character];
}

}  // namespace marigold::inner
