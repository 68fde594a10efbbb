#include "runtime/wi/key_sequences.h"

#include <random>
#include <string_view>

#include "tests/support/support.h"

namespace marigold::test {
namespace {

using std::string_view_literals::operator""sv;

void feed(KeyDecoder& decoder, std::string_view bytes) {
  for (const char byte : bytes)
    decoder.feed(static_cast<std::uint8_t>(byte));
}

std::string taken(KeyDecoder& decoder) {
  std::string keys;
  while (decoder.has_key())
    keys += static_cast<char>(decoder.take());
  return keys;
}

std::string decoded(std::string_view bytes, bool utf8 = true) {
  KeyDecoder decoder(utf8);
  feed(decoder, bytes);
  decoder.end_sequence();
  EXPECT_FALSE(decoder.in_sequence());
  return taken(decoder);
}

struct Row {
  std::string_view bytes;
  std::string_view keys;
};

void expect_keys(std::initializer_list<Row> rows, bool utf8 = true) {
  for (const Row& row : rows) {
    EXPECT_EQ(decoded(row.bytes, utf8), row.keys) << testing::PrintToString(row.bytes);
  }
}

}  // namespace

TEST(KeySequencesTest, CursorKeysInEveryForm) {
  const Row rows[] = {{"\x1b[A", "\xe0H"},    {"\x1b[B", "\xe0P"},    {"\x1b[C", "\xe0M"},
                      {"\x1b[D", "\xe0K"},    {"\x1bOA", "\xe0H"},    {"\x1bOB", "\xe0P"},
                      {"\x1bOC", "\xe0M"},    {"\x1bOD", "\xe0K"},    {"\x1b[H", "\xe0G"},
                      {"\x1b[F", "\xe0O"},    {"\x1bOH", "\xe0G"},    {"\x1bOF", "\xe0O"},
                      {"\x1b[1~", "\xe0G"},   {"\x1b[4~", "\xe0O"},   {"\x1b[7~", "\xe0G"},
                      {"\x1b[8~", "\xe0O"},   {"\x1b[5~", "\xe0I"},   {"\x1b[6~", "\xe0Q"},
                      {"\x1b[2~", "\xe0R"},   {"\x1b[3~", "\xe0S"},   {"\x1b[1;2A", "\xe0H"},
                      {"\x1b[1;3D", "\xe0K"}, {"\x1b[1;5H", "\xe0w"}, {"\x1b[1;7H", "\xe0w"},
                      {"\x1b[7^", "\xe0w"},   {"\x1b[7$", "\xe0G"},   {"\x1b[3;2~", "\xe0S"},
                      {"\x1b[5H", "\xe0w"},   {"\x1bO5H", "\xe0w"},   {"\x1bOd", "\xe0s"},
                      {"\x1b[d", "\xe0K"},    {"\x1b\x1b[A", "\xe0H"}};
  for (const Row& row : rows) {
    EXPECT_EQ(decoded(std::string(row.bytes) + "x"), std::string(row.keys) + "x") << row.bytes;
  }
}

TEST(KeySequencesTest, FunctionKeysInEveryForm) {
  expect_keys({{"\x1bOP", "\0;"sv},      {"\x1bOQ", "\0<"sv},     {"\x1bOR", "\0="sv},
               {"\x1bOS", "\0>"sv},      {"\x1b[P", "\0;"sv},     {"\x1b[[A", "\0;"sv},
               {"\x1b[[E", "\0?"sv},     {"\x1b[11~", "\0;"sv},   {"\x1b[12~", "\0<"sv},
               {"\x1b[13~", "\0="sv},    {"\x1b[14~", "\0>"sv},   {"\x1b[15~", "\0?"sv},
               {"\x1b[17~", "\0@"sv},    {"\x1b[18~", "\0A"sv},   {"\x1b[19~", "\0B"sv},
               {"\x1b[20~", "\0C"sv},    {"\x1b[21~", "\0D"sv},   {"\x1b[23~", "\xe0\x85"},
               {"\x1b[24~", "\xe0\x86"}, {"\x1b[1;3P", "\0;"sv},  {"\x1b[1;2P", "\0T"sv},
               {"\x1b[15;5~", "\0b"sv},  {"\x1b\x1bOP", "\0;"sv}, {"\x1b[Z", "\0\x0f"sv}});
}

TEST(KeySequencesTest, CharactersAndControlCharacters) {
  expect_keys({{"aZ~ ", "aZ~ "},
               {"\r\n\t\b", "\r\n\t\b"},
               {"\x7f", "\b"},
               {"\0"sv, "\0\x03"sv},
               {"ä", "\x84"},
               {"ß", "\xe1"},
               {"\u2500", "\xc4"},
               {"\u03b1", ""},
               {"\u263a", ""},
               {"\u20ac\U0001F600x", "x"},
               {"\x1bOM\x1bOp", "\r0"},
               {"\x1b"
                "ax",
                "ax"},
               {"\x1b\xc3\xa4", "\x84"},
               {"\xc0\xafx", "x"},
               {"\xe0\x80\xaf!", "!"},
               {"\xc3x", "x"},
               {"\xc3\xc3\xa4", "\x84"},
               {"\xff\x80", ""}});
  expect_keys({{"\xe4\xdf", "\x84\xe1"},
               {"\x9b"
                "A",
                "\xe0H"},
               {"\x8f"
                "P",
                "\0;"sv},
               {"\x90\xa4", ""}},
              false);
}

TEST(KeySequencesTest, UnknownSequencesAreSwallowedWhole) {
  expect_keys({{"\x1b[99~x", "x"},
               {"\x1b[?1;2cx", "x"},
               {"\x1b[200~x\x1b[201~", "x"},
               {"\x1b[1;2;3;4;5;6;7Xx", "x"},
               {"\x1b[<0;10;10Mx", "x"},
               {"\x1b[M !!x", "x"},
               {"\x1b[99999999999999999999~x", "x"},
               {"\x1b]0;title\ax", "x"},
               {"\x1bP1$r0m\x1b\\x", "x"},
               {"\x1b[?25;1$yx", "x"},
               {"\x1b[1;5ux", "x"},
               {"\x1b[1\x1b[A", "\xe0H"},
               {"\x1b[1\rx", "\rx"},
               {"\x1bOZx", "x"}});
}

TEST(KeySequencesTest, TimeTellsAnEscapeFromASequence) {
  expect_keys({{"\x1b", "\x1b"},
               {"\x1b\x1b", "\x1b\x1b"},
               {"\x1b\x1b\x1b", "\x1b\x1b\x1b"},
               {"\x1b[", "["},
               {"\x1bO", "O"},
               {"\x1b]", "]"},
               {"\x1b[1;", ""},
               {"\xe2\x82", ""},
               {"\x1b\x1bx", "\x1bx"}});
}

// Whatever comes: a pause ends every sequence, and each byte adds at most three.
TEST(KeySequencesTest, AnyBytesEndWithAPause) {
  std::mt19937 random(1);
  const std::string_view likely = "\x1b[O;1579~$^MPAH]\\\a\xc3\xa4";
  for (int run = 0; run < 2000; ++run) {
    KeyDecoder decoder(run % 2 == 0);
    for (int count = 0; count < 50; ++count) {
      const bool any = random() % 4 == 0;
      decoder.feed(static_cast<std::uint8_t>(any ? random() : likely[random() % likely.size()]));
      EXPECT_LE(taken(decoder).size(), 3U);
    }
    decoder.end_sequence();
    taken(decoder);
    decoder.feed('x');
    EXPECT_EQ(taken(decoder), "x");
  }
}

}  // namespace marigold::test
