#include "tools/code_set.h"

#include <gtest/gtest.h>

namespace marigold {
namespace {

TEST(CodeSetTest, NamesAreThoseOfLanguageIdentifiersAndOfTheConverter) {
  struct Row {
    const char* name;
    const char* text;
    const char* bytes;
  };
  for (const Row& row : {Row{"8859", "Grüß", "Gr\xFC\xDF"}, Row{"8859-15", "5 €", "5 \xA4"},
                         Row{"1252", "5 €", "5 \x80"}, Row{"850", "ä", "\x84"},
                         Row{"ISO-8859-2", "ő", "\xF5"}, Row{"utf8", "€", "€"}}) {
    CodeSet code_set;
    std::string reason;
    std::string converted;
    ASSERT_TRUE(code_set.open(row.name, reason)) << reason;
    EXPECT_EQ(code_set.to_bytes(row.text, converted), std::string::npos);
    EXPECT_EQ(converted, row.bytes) << row.name;
    EXPECT_EQ(code_set.to_text(row.bytes, converted), std::string::npos);
    EXPECT_EQ(converted, row.text) << row.name;
  }
}

TEST(CodeSetTest, CodeSetsThatTextsCannotBeInAreRefused) {
  for (const char* name : {"", "nonsense", "99999", "8859-99", "UTF-16", "UTF-7", "EBCDIC-US",
                           "ISO-8859-1//TRANSLIT"}) {
    CodeSet code_set;
    std::string reason;
    EXPECT_FALSE(code_set.open(name, reason)) << name;
    EXPECT_TRUE(reason.starts_with("marigold: the code set \"" + std::string(name) + "\""))
        << reason;
  }
}

TEST(CodeSetTest, TheFirstCharacterThatIsLackingIsFoundAndDescribed) {
  CodeSet code_set;
  std::string reason;
  ASSERT_TRUE(code_set.open("8859", reason));
  struct Row {
    std::string text;
    std::size_t position;
    const char* description;
  };
  for (const Row& row :
       {Row{"5 €", 2, "\"€\" (U+20AC)"},
        Row{"ä\xF0\x9F\x98\x80", 2, "\"\xF0\x9F\x98\x80\" (U+1F600)"},
        // Far behind the converter's first piece of output; and one that it would drop silently.
        Row{std::string(5000, 'x') + "ł", 5000, "\"ł\" (U+0142)"}}) {
    std::string bytes;
    EXPECT_EQ(code_set.to_bytes(row.text, bytes), row.position);
    EXPECT_EQ(describe_character(row.text, row.position), row.description);
  }
  std::string bytes;
  EXPECT_NE(code_set.to_bytes("a\xF3\xA0\x80\xA1", bytes), std::string::npos);
  ASSERT_TRUE(code_set.open("1252", reason));
  EXPECT_EQ(code_set.to_text("a\x81", bytes), 1U);
}

}  // namespace
}  // namespace marigold
