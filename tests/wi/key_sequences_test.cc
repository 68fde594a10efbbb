// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/key_sequences.h"

#include <string_view>

#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

struct Row {
  std::string bytes;
  std::string keys;
};

// Sends a byte at a time, as slow lines do, and a pause at the end.
void expect_keys(const std::vector<Row>& rows, KeyCharacters characters = KeyCharacters::kUtf8) {
  for (const Row& row : rows) {
    KeyDecoder decoder(characters);
    for (const char byte : row.bytes)
      decoder.feed(static_cast<std::uint8_t>(byte));
    decoder.end_sequence();
    std::string keys;
    while (decoder.has_key())
      keys += static_cast<char>(decoder.take());
    EXPECT_EQ(keys, row.keys) << testing::PrintToString(row.bytes);
  }
}

// Tests the forms of a key, separated by blanks and each after an Escape, with "x" typed after it.
void expect_forms(const std::string& forms, const std::string& key) {
  for (std::size_t start = 0; start < forms.size();) {
    const std::size_t end = std::min(forms.find(' ', start), forms.size());
    const std::string form = forms.substr(start, end - start);
    expect_keys({{std::string("\x1b").append(form).append("x"), key + "x"}});
    start = end + 1;
  }
}

}  // namespace

TEST(KeySequencesTest, KeysInEveryForm) {
  // clang-format off
  const std::pair<const char*, std::string> rows[] = {
      {"[A OA [1;2A [1;3A [1;4A [a \x1b[A \x1bOA", "\xe0H"}, {"[B OB [1;2B [b", "\xe0P"},
      {"[C OC [1;2C [c", "\xe0M"}, {"[D OD [1;2D [d", "\xe0K"},
      {"[H OH [1~ [7~ [1;2H [7$", "\xe0G"}, {"[F OF [4~ [8~ [1;3F", "\xe0O"},
      {"[5~ [5;2~ [5$", "\xe0I"}, {"[6~ [6;3~", "\xe0Q"}, {"[2~ [2;2~", "\xe0R"}, {"[3~ [3;2~", "\xe0S"},
      {"[1;5H [1;6H [1;7H [5H O5H [7^ [7@ [1;5~ [7;5~", "\xe0w"}, {"[1;5D Od O5D", "\xe0s"},
      {"OP [P [11~ [[A [1;3P \x1bOP", "\0;"s}, {"OQ [12~ [[B", "\0<"s}, {"OR [13~ [[C", "\0="s},
      {"OS [14~ [[D", "\0>"s}, {"[15~ [[E", "\0?"s}, {"[17~", "\0@"s}, {"[18~", "\0A"s}, {"[19~", "\0B"s},
      {"[20~", "\0C"s}, {"[21~", "\0D"s}, {"[23~", "\xe0\x85"}, {"[24~", "\xe0\x86"},
      {"[1;2P O2P", "\0T"s}, {"[15;5~", "\0b"s}, {"[Z", "\0\x0f"s}, {"OM", "\r"}, {"Op", "0"},
      // Unknown ones are dropped whole.
      {"[99~ [?1;2c [200~ [1;2;3;4;5;6;7X [<0;10;10M [M123 [?25;1$y [1;5u [99999999999999~ OZ", ""},
      {"]0;title\a P1$r0m\x1b\\ _G\x1b\\", ""}};
  // clang-format on
  for (const auto& [forms, key] : rows)
    expect_forms(forms, key);
}

TEST(KeySequencesTest, CharactersAndControlCharacters) {
  expect_keys({{"aZ~ ", "aZ~ "},
               {"\r\n\t\b", "\r\n\t\b"},
               {"\x7f", "\b"},
               {"\0"s, "\0\x03"s},
               {"äß─§", "\x84\xe1\xc4\x15"},
               {"\x1b"
                "ax\x1bä",
                "ax\x84"},                // with Alt
               {"α☺¶€\U0001F600x", "x"},  // no byte, or one with another meaning
               {"\xc0\xaf\xe0\x80\xaf\xff\x80!", "!"},
               {"\xc3x\xc3\xc3\xa4", "x\x84"}});
  expect_keys({{"\xe4\xdf", "\x84\xe1"},
               {"\x9b"
                "A",
                "\xe0H"},
               {"\x8f"
                "P",
                "\0;"s},
               {"\xa7", "\x15"}},
              KeyCharacters::kLatin);
  // Without a code page: a byte that looks like an 8-bit control is a letter, and 224 is no prefix.
  expect_keys({{"\xe4\xdf\x8fP\x9b\x41\xff", "\xe4\xdf\x8fP\x9b\x41\xff"},
               {"\xe0x\x1b[A", "\xe0\xe0x\xe0H"},
               {"\x1b\xe4", "\xe4"}},
              KeyCharacters::kBytes);
}

TEST(KeySequencesTest, StringsAreReportsOrWereTypedWithAlt) {
  const std::string long_report = "\x1b]5" + std::string(255, '2');
  expect_keys({{"\x1b]11;rgb:0/0/0\x1b\\x\x1b]l\ax", "xx"},
               {"\x1bP1$r0m\x1b\\x\x1b_Ga\x1b\\x", "xx"},
               {"\x1bPress\r", "Press\r"},
               {"\x1bXyz\x1b^a\x1b]x\x1b_x", "Xyz^a]x_x"},
               {"\x1bP1 \r", "P1 \r"},
               {"\x1bP1ä", "P1\x84"},
               {"\x1bP1\a", "P1\a"},  // the bell ends no report of this kind
               {"\x1bP1\x1b[A", "P1\xe0H"},
               {"\x1b\x1b]1\x7f", "\x1b]1\b"},
               {"\x1b]11", "]11"},
               {"\x1bP1\x1b", "P1\x1b"},
               {"\x1bP\x1b\\", "P\\"},
               {long_report + "\a", long_report.substr(1) + "\a"}});
}

TEST(KeySequencesTest, TimeTellsAnEscapeFromASequence) {
  expect_keys({{"\x1b", "\x1b"},
               {"\x1b\x1b\x1b", "\x1b\x1b\x1b"},
               {"\x1b\x1bx", "\x1bx"},
               {"\x1b[", "["},  // with Alt
               {"\x1bO", "O"},
               {"\x1b[1;", ""},
               {"\xe2\x82", ""},
               {"\x1b[1\x1b[A", "\xe0H"},
               {"\x1b[1\rx", "\rx"}});
  KeyDecoder slow(KeyCharacters::kUtf8);  // the rest of a character may be late
  for (const char byte : "ä─"s) {
    slow.feed(static_cast<std::uint8_t>(byte));
    slow.end_sequence();
  }
  EXPECT_FALSE(slow.in_sequence());
  ASSERT_TRUE(slow.has_key());
  EXPECT_EQ(slow.take(), 0x84);
  EXPECT_EQ(slow.take(), 0xC4);
}

}  // namespace marigold::inner::test
