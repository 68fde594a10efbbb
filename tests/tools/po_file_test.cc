#include "tools/po_file.h"

#include <gtest/gtest.h>

#include "tests/support/support.h"

namespace marigold {
namespace {

std::string with_charset(const std::string& charset, const std::string& rest) {
  return "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=" + charset + "\\n\"\n" + rest;
}

struct PoFileTest : testing::Test {
  // The problems of a file with this content, as lines.
  std::string problems_of(const std::string& content) {
    test::write_file("in.po", content);
    Problems problems;
    const bool loaded = po_load("in.po", file, problems);
    EXPECT_EQ(loaded, problems.empty());
    std::string lines;
    for (const std::string& problem : problems)
      lines += problem + "\n";
    return lines;
  }

  test::WorkDirectory directory;
  PoFile file;
};

TEST_F(PoFileTest, FilesThatCannotBeTextsAreRefusedAtTheirLine) {
  struct Row {
    std::string content;
    const char* first_problem;
  };
  for (const Row& row : {
           Row{"msgid \"A\"\nmsgstr \"open\n", "in.po:3: end-of-line within string\n"},
           Row{"msgid \"A\"\nmsgstr \"a\"\nhello\n", "in.po:3: keyword \"hello\" unknown\n"},
           Row{"msgid \"A\"\nmsgstr \"a\"\n\nmsgid \"A\"\nmsgstr \"a\"\n",
               "in.po:4: duplicate message definition\n"},
           Row{"msgid \"A\"\nmsgstr \"\\q\"\n", "in.po:2: invalid control sequence\n"},
           Row{"msgctxt \"x\"\nmsgid \"A\"\nmsgstr \"a\"\n",
               "in.po:3: texts of a text database have no context\n"},
           Row{"msgid \"A\"\nmsgid_plural \"B\"\nmsgstr[0] \"a\"\n",
               "in.po:3: texts of a text database have no plural forms\n"},
           Row{"domain \"x\"\nmsgid \"A\"\nmsgstr \"a\"\n",
               "in.po:3: texts of a text database have no domain\n"},
           Row{with_charset("KLINGON", "msgid \"A\"\nmsgstr \"a\"\n"),
               "in.po:2: the charset \"KLINGON\" is not known\n"},
           Row{with_charset("UTF-8", "msgid \"A\"\nmsgstr \"\xE4\"\n"),
               "in.po:4: invalid multibyte sequence\n"},
           Row{"msgid \"A\"\nmsgstr \"\xE4\"\n",
               "in.po:2: a character is not ASCII, the charset of the file\n"},
           Row{with_charset("UTF-8", "msgid \"\\344\"\nmsgstr \"a\"\n"),
               "in.po:4: a character is not UTF-8, the charset of the file\n"},
           // The library would end such texts at the zero byte and say nothing.
           Row{"msgid \"A\"\nmsgstr \"a\\000b\"\n", "in.po:2: zero byte in a text\n"},
           Row{"msgid \"A\"\nmsgstr \"\\\\\\0\"\n", "in.po:2: zero byte in a text\n"},
           Row{"msgid \"A\"\nmsgstr \"\\400\"\n", "in.po:2: zero byte in a text\n"},
           Row{"msgid \"A\\x00\"\nmsgstr \"a\"\n", "in.po:1: zero byte in a text\n"},
           Row{std::string("msgid \"A\"\nmsgstr \"a\0b\"\n", 24), "in.po:2: zero byte in a text\n"},
           Row{"\xEF\xBB\xBFmsgid \"A\"\nmsgstr \"a\"\n",
               "in.po:1: begins with a byte order mark\n"},
       }) {
    const std::string problems = problems_of(row.content);
    EXPECT_EQ(problems.substr(0, problems.find('\n') + 1), row.first_problem) << row.content;
  }
  Problems problems;
  for (const char* path : {"missing.po", ".", "/dev/null"})
    EXPECT_FALSE(po_load(path, file, problems)) << path;
  EXPECT_EQ(problems[0], "missing.po: is not a file that can be read");
}

TEST_F(PoFileTest, EntriesComeWithTheirMarksAndLines) {
  ASSERT_EQ(problems_of(with_charset("ISO-8859-1",
                                     "\n"
                                     "msgid \"GREET\"\n"
                                     "msgstr \"\"\n"
                                     "\"Gr\xFC\xDF \"\n"
                                     "\"Gott\\\\n\\1\\x41\"\n"
                                     "\n"
                                     "#, fuzzy, c-format\n"
                                     "msgid \"F\"\n"
                                     "msgstr \"f %d\"\n"
                                     "# a backslash and zero in a comment: \\0\n"
                                     "#. empty\n"
                                     "msgid \"E1\"\n"
                                     "msgstr \"\"\n"
                                     "#  empty\n"
                                     "msgid \"E2\"\n"
                                     "msgstr \"\"\n"
                                     "#. not empty\n"
                                     "msgid \"U\"\n"
                                     "msgstr \"\"\n"
                                     "#~ msgid \"OLD\"\n"
                                     "#~ msgstr \"old\"\n")),
            "");
  struct Row {
    const char* id;
    const char* text;
    int line;
    bool fuzzy;
    bool has_text;
  };
  const Row rows[] = {{"GREET", "Grüß Gott\\n\1A", 5, false, true},
                      {"F", "f %d", 11, true, true},
                      {"E1", "", 15, false, true},
                      {"E2", "", 18, false, true},
                      {"U", "", 21, false, false}};
  ASSERT_EQ(file.entries.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(file.entries[i].id, rows[i].id);
    EXPECT_EQ(file.entries[i].text, rows[i].text);
    EXPECT_EQ(file.entries[i].line, rows[i].line) << rows[i].id;
    EXPECT_EQ(file.entries[i].fuzzy, rows[i].fuzzy) << rows[i].id;
    EXPECT_EQ(file.entries[i].has_text(), rows[i].has_text) << rows[i].id;
  }
}

TEST_F(PoFileTest, WhatIsWrittenIsReadAgain) {
  std::string all;
  for (char character = 1; character < 127; ++character)
    if (character != kPoSeparator) all += character;
  all += "\x7F\xC2\x80ÄÖ€\xF0\x9F\x98\x80";
  ASSERT_EQ(problems_of(po_format({{"A", all},
                                   {all, "text"},
                                   {"E", ""},
                                   {"12",
                                    "\x01"
                                    "2\\"}})),
            "");
  ASSERT_EQ(file.entries.size(), 4U);
  EXPECT_EQ(file.entries[0].text, all);
  EXPECT_EQ(file.entries[1].id, all);
  EXPECT_TRUE(file.entries[2].has_text());
  EXPECT_EQ(file.entries[3].text,
            "\x01"
            "2\\");
}

}  // namespace
}  // namespace marigold
