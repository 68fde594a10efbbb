// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/po_file.h"

#include <new>

#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

struct PoFileTest : testing::Test {
  WorkDirectory directory;
  PoFile file;
  Problems problems;
};

std::string entry_a(const std::string& text) {
  return "msgid \"A\"\nmsgstr " + text + "\n";
}

std::string with_charset(const std::string& charset, const std::string& rest) {
  return "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=" + charset + "\\n\"\n" + rest;
}

TEST_F(PoFileTest, FilesThatCannotBeTextsAreRefusedAtTheirLine) {
  const std::string a = entry_a("\"a\"");
  const std::string none = "3: texts of a text database have no ";
  const std::string zero = "2: zero byte in a text";
  // clang-format off
  const std::pair<std::string, std::string> rows[] = {
      {entry_a("\"open"), "3: end-of-line within string"},
      {a + "hello", "3: keyword \"hello\" unknown"},
      {a + a, "3: duplicate message definition"},
      {"msgctxt \"x\"\n" + a, none + "context"},
      {"msgid \"A\"\nmsgid_plural \"B\"\nmsgstr[0] \"a\"\n", none + "plural forms"},
      {"domain \"x\"\n" + a, none + "domain"},
      {with_charset("KLINGON", ""), "2: the charset \"KLINGON\" is not known"},
      {with_charset("UTF-8", entry_a("\"\xE4\"")), "4: invalid multibyte sequence"},
      {with_charset("UTF-8", entry_a("\"\\344\"")), "4: a character is not UTF-8, the charset of the file"},
      {entry_a("\"\xE4\""), "2: a character is not ASCII, the charset of the file"},
      // The library would end such texts at the zero byte without a message.
      {entry_a("\"a\\000b\""), zero}, {entry_a("\"\\\\\\0\""), zero}, {entry_a("\"\\400\""), zero},
      {entry_a("\"\\x123456789abcdef12300\""), zero}, {entry_a({"\"a\0b\"", 5}), zero},
      {"\xEF\xBB\xBF" + a, "1: begins with a byte order mark"},
      {"# all of it a comment\r" + a, "1: a carriage return inside a line; lines end with a line feed"},
      {with_charset("BIG5", entry_a("\"\xA5\x5C\xFF\"")), "4: a character is not BIG5, the charset of the file"},
      {with_charset("BIG5", entry_a("\"\\377\"")), "4: a character is not BIG5, the charset of the file"},
      {with_charset("BI\"\n\"G5", ""), "2: the charset \"BIG5\" is not on one line with its label"},
  };
  // clang-format on
  for (const auto& [content, first_problem] : rows) {
    write_file("in.po", content);
    problems.clear();
    EXPECT_FALSE(po_load("in.po", file, problems)) << content;
    EXPECT_EQ(problems.at(0), "in.po:" + first_problem) << content;
  }
  EXPECT_FALSE(po_load(".", file, problems) || po_load("/dev/null", file, problems));
}

TEST_F(PoFileTest, EntriesComeWithTheirMarksAndLines) {
  write_file("in.po", with_charset("ISO-8859-1", R"po(
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
)po"));
  EXPECT_TRUE(po_load("in.po", file, problems));
  EXPECT_EQ(problems, Problems{});
  std::string read;
  for (const PoEntry& entry : file.entries) {
    read += at_line(entry.id, entry.line) + entry.text + (entry.fuzzy ? " (fuzzy)" : "");
    read += entry.has_text() ? "\n" : "(none)\n";
  }
  EXPECT_EQ(read, "GREET:5: Grüß Gott\\n\1A\nF:10: f %d (fuzzy)\nE1:14: \nE2:17: \nU:20: (none)\n");
}

// Editors of other systems write such files.
TEST_F(PoFileTest, LinesMayEndWithCarriageReturns) {
  std::string lines = with_charset(
      "UTF-8", "#. empty\nmsgid \"E\"\nmsgstr \"\"\n#, fuzzy\n" + entry_a("\"a\"\n\"b\""));
  for (std::size_t end = lines.find('\n'); end != std::string::npos;
       end = lines.find('\n', end + 2))
    lines.insert(end, 1, '\r');
  write_file("in.po", lines);
  EXPECT_TRUE(po_load("in.po", file, problems)) << problems.at(0);
  ASSERT_EQ(file.entries.size(), 2U);
  EXPECT_TRUE(file.entries[0].meant_empty);
  EXPECT_TRUE(file.entries[1].fuzzy);
  EXPECT_EQ(file.entries[1].text, "ab");
}

// Characters whose second byte is a backslash, a quote or a letter that makes an escape with it.
TEST_F(PoFileTest, OldMultiByteCharsetsAreRead) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"BIG5", "\xA5\x5Cn\xB3\x5C\\t\\\\x", "功n許\t\\x"},
      {"BIG5", "\\245\\134 \xA5\x5C", "功 功"},
      {"CP932", "\x95\x5C\x8E\xA6\\n%s", "表示\n%s"},
      {"SHIFT_JIS", "\x95\x5C\x30\\\\t\\\"", "表0\\t\""},
      {"ISO-2022-JP", "\x1B$B!\"!\\\x1B(B\\\\t", "、＋\\t"},
      {"GB18030", "\x81\x30\x8A\x31\x90\x5C", "ä怽"},
      {"EUC-JP", "\xC9\xBD", "表"},
  };
  for (const auto& [charset, bytes, text] : rows) {
    write_file("in.po",
               with_charset(charset, entry_a(std::string("\"").append(bytes).append("\""))));
    problems.clear();
    EXPECT_TRUE(po_load("in.po", file, problems)) << charset << problems.at(0);
    EXPECT_EQ(file.entries.empty() ? "none" : file.entries[0].text, text) << charset;
  }
}

TEST_F(PoFileTest, MemoryThatRunsOutIsReportedWithTheFile) {
  po_load("none.po", file, problems);
  EXPECT_EQ(errors_of([] { EXPECT_EQ(report_failure(std::bad_alloc()), kExitUnusable); }),
            "none.po: out of memory\n");
}

}  // namespace
}  // namespace marigold::inner::test
