#include "tools/po_file.h"

#include <gtest/gtest.h>

#include "tests/support/support.h"

namespace marigold {
namespace {

// An entry "A" with this string behind its msgstr.
std::string entry_a(const std::string& text) {
  return "msgid \"A\"\nmsgstr " + text + "\n";
}

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
  for (const Row& row :
       {Row{entry_a("\"open"), "3: end-of-line within string"},
        Row{entry_a("\"a\"\nhello"), "3: keyword \"hello\" unknown"},
        Row{entry_a("\"a\"") + entry_a("\"a\""), "3: duplicate message definition"},
        Row{"msgctxt \"x\"\n" + entry_a("\"a\""), "3: texts of a text database have no context"},
        Row{"msgid \"A\"\nmsgid_plural \"B\"\nmsgstr[0] \"a\"\n",
            "3: texts of a text database have no plural forms"},
        Row{"domain \"x\"\n" + entry_a("\"a\""), "3: texts of a text database have no domain"},
        Row{with_charset("KLINGON", ""), "2: the charset \"KLINGON\" is not known"},
        Row{with_charset("UTF-8", entry_a("\"\xE4\"")), "4: invalid multibyte sequence"},
        Row{with_charset("UTF-8", entry_a("\"\\344\"")),
            "4: a character is not UTF-8, the charset of the file"},
        Row{entry_a("\"\xE4\""), "2: a character is not ASCII, the charset of the file"},
        // The library would end such texts at the zero byte and say nothing.
        Row{entry_a("\"a\\000b\""), "2: zero byte in a text"},
        Row{entry_a("\"\\\\\\0\""), "2: zero byte in a text"},
        Row{entry_a("\"\\400\""), "2: zero byte in a text"},
        Row{entry_a("\"\\x123456789abcdef12300\""), "2: zero byte in a text"},
        Row{entry_a({"\"a\0b\"", 5}), "2: zero byte in a text"},
        Row{"\xEF\xBB\xBF" + entry_a("\"a\""), "1: begins with a byte order mark"}}) {
    const std::string problems = problems_of(row.content);
    EXPECT_EQ(problems.substr(0, problems.find('\n')), std::string("in.po:") + row.first_problem);
  }
  Problems problems;
  for (const char* path : {"missing.po", ".", "/dev/null"})
    EXPECT_FALSE(po_load(path, file, problems)) << path;
  EXPECT_EQ(problems[0], "missing.po: is not a file that can be read");
}

TEST_F(PoFileTest, EntriesComeWithTheirMarksAndLines) {
  ASSERT_EQ(problems_of(with_charset("ISO-8859-1", R"po(
msgid "GREET"
msgstr ""
"Gr\374\337 "
"Gott\\n\1\x41"

#, fuzzy, c-format
msgid "F"
msgstr "f %d"
# a backslash and zero in a comment: \0
#. empty
msgid "E1"
msgstr ""
#  empty
msgid "E2"
msgstr ""
#. not empty
msgid "U"
msgstr ""
#~ msgid "OLD"
#~ msgstr "old"
)po")),
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

}  // namespace
}  // namespace marigold
