// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/code_set.h"

#include "tests/support/support.h"

namespace marigold::inner::test {

struct CodeSetTest : testing::Test {
  CodeSet code_set;
  std::string reason;
  std::string converted;
};

TEST_F(CodeSetTest, NamesAreThoseOfLanguageIdentifiersAndOfTheConverter) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"8859", "Grüß", "Gr\xFC\xDF"}, {"8859-15", "5 €", "5 \xA4"}, {"1252", "5 €", "5 \x80"},
      {"850", "ä", "\x84"},           {"ISO-8859-2", "ő", "\xF5"},  {"utf8", "€", "€"}};
  for (const auto& [name, text, bytes] : rows) {
    ASSERT_TRUE(code_set.open(name, reason)) << reason;
    EXPECT_EQ(code_set.to_bytes(text, converted), std::string::npos) << name;
    EXPECT_EQ(converted, bytes) << name;
  }
}

TEST_F(CodeSetTest, CodeSetsThatTextsCannotBeInAreRefused) {
  for (const std::string name :
       {"", "99999", "8859-99", "UTF-16", "UTF-7", "EBCDIC-US", "ISO-8859-1//TRANSLIT"}) {
    EXPECT_FALSE(code_set.open(name, reason)) << name;
    EXPECT_TRUE(reason.starts_with("the code set \"" + name + "\"")) << reason;
  }
}

// Second bytes that are "%" or a backslash.
TEST_F(CodeSetTest, DatabasesAreNotMadeInCodeSetsThatHideAscii) {
  for (const char* name : {"BIG5", "932", "936", "949", "950", "GBK", "GB18030"}) {
    EXPECT_FALSE(code_set.open_for_texts(name, reason)) << name;
    EXPECT_TRUE(reason.starts_with("the code set \"" + std::string(name) + "\" cannot"));
  }
  for (const char* name : {"8859", "8859-15", "utf8", "1258", "KOI8-R", "850"})
    EXPECT_TRUE(code_set.open_for_texts(name, reason)) << name << reason;
  // A database in such a code set can still be read.
  EXPECT_TRUE(code_set.open("BIG5", reason));
}

TEST_F(CodeSetTest, TheFirstCharacterThatIsLackingIsFoundAndDescribed) {
  ASSERT_TRUE(code_set.open("8859", reason));
  const std::tuple<std::string, std::size_t, const char*> rows[] = {
      {"ä\xF0\x9F\x98\x80", 2, "\"\xF0\x9F\x98\x80\" (U+1F600)"},
      {std::string(5000, 'x') + "ł", 5000, "\"ł\" (U+0142)"},     // after the first piece
      {"\xF3\xA0\x80\xA1", 0, "\"\xF3\xA0\x80\xA1\" (U+E0021)"},  // the converter would drop it
  };
  for (const auto& [text, position, description] : rows) {
    EXPECT_EQ(code_set.to_bytes(text, converted), position);
    EXPECT_EQ(describe_character(text, position), description);
  }
  ASSERT_TRUE(code_set.open("1252", reason));
  EXPECT_EQ(code_set.to_text("a\x81", converted), 1U);
  EXPECT_EQ(code_set.to_bytes("\xC2\x81", converted), 0U);
}

}  // namespace marigold::inner::test
