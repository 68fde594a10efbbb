// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/texts/rules.h"

#include <algorithm>
#include <random>

#include "tests/support/support.h"
#include "tools/texts/text_id.h"

namespace marigold::inner::test {
namespace {

using Entries = std::vector<PoEntry>;

// The entries' lines are 1, 2, 3 and so on.
PoFile file_of(const char* path, Entries entries) {
  int line = 0;
  for (PoEntry& entry : entries)
    entry.line = ++line;
  return {path, std::move(entries)};
}

std::string lines_of(const Findings& findings) {
  std::string lines;
  for (const Finding& finding : findings)
    lines += at_line(finding.file, finding.line) + finding.message + "\n";
  return lines;
}

std::string findings_alone(const Entries& entries) {
  CodeSet code_set;
  std::string reason;
  EXPECT_TRUE(code_set.open("8859", reason));
  Findings findings;
  check_texts(file_of("a.po", entries), code_set, false, findings);
  return lines_of(findings);
}

std::string findings_beside(const Entries& reference, const Entries& entries, bool fuzzy = false) {
  Findings findings;
  check_translation(file_of("en.po", reference), file_of("de.po", entries), fuzzy, findings);
  return lines_of(findings);
}

// clang-format off
TEST(TextRulesTest, FormatsSizesAndSystemTexts) {
  const std::string x250(250, 'x');
  const auto blanks = [](const std::string& text, const std::string& built_in) {
    return "blanks at the ends of \"" + text + "\" differ from the built-in text \"" + built_in + "\"";
  };
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"ID", "100%% %b %-5.2f %*.*d %c \\n\\\\\\\"\\x41B\\0101", ""},
      {"ID", "%q", "\"%q\" is not a directive"},   {"ID", "%-+5d", "\"%-+\" is not a directive"},
      {"ID", "%5b", "\"%5b\" is not a directive"}, {"ID", "%ä", "\"%ä\" is not a directive"},
      {"ID", "100 %", "the text ends in the directive \"%\""},
      {"ID", "%*.", "the text ends in the directive \"%*.\""},
      {"ID", "\\ä", "\\ä is not an escape"}, {"ID", "a\\", "the text ends in a backslash"},
      {"ID", "\\1", "\\1 is not an escape"}, {"ID", "\\xg", "an escape \\x without hexadecimal digits"},
      {"ID", "\\x41%d \\x41\\q", ""},  // the numeric escape takes the next character
      {x250, "ä" + x250.substr(1), ""},  // 250 bytes in ISO 8859-1
      {"ID", x250 + "x", "the text has 251 bytes, more than 250"},
      {x250 + "x", "t", "the id has 251 bytes, more than 250"},
      {"ID", "5 €", "the code set 8859 lacks \"€\" (U+20AC)"},
      {"SYSDEF.systxt_back", "zurück", ""}, {"SYSDEF.systxt_record", "Datensatz ", ""},
      {"SYSDEF.syschr_yes", "j", ""}, {"SYSDEF.systxt_datefmt", "%d.%m.%y", ""},  // no format
      {"SYSDEF.systxt_back", "zurück ", blanks("zurück ", "back")},
      {"SYSDEF.systxt_unheard", "x", "no entry of the system catalogue"},
      {"SYSDEF.syschr_yes", "ja", "only the first character of \"ja\" is used"},
      {"SYSDEF.systxt_record", "Eintrag", blanks("Eintrag", "Record ")},  // a number follows
      {"SYSDEF.systxt_no", "NEIN", ""}, {"SYSDEF.systxt_no", "NON", blanks("NON", "NO  ")},
      {"SYSDEF.systxt_filelock", " für Datei gesperrt       ", ""},
      {"SYSDEF.systxt_warning", "ACHTUNG!! ", blanks("ACHTUNG!! ", " WARNING! ")},
  };
  for (const auto& [id, text, finding] : rows) {
    const std::string fault = std::string("a.po:1: ").append(id).append(": ").append(finding) + "\n";
    EXPECT_EQ(findings_alone({{id, text}}), finding.empty() ? "" : fault);
  }
}

TEST(TextRulesTest, ChainsHaveNoGaps) {
  const std::pair<Entries, const char*> rows[] = {
      {{{"A+", "a"}, {"A+2", "c"}, {"A+1", "b"}, {"A+02", "x"}}, ""},
      {{{"A+", "a"}, {"A+1", "b"}, {"A+3", "d"}, {"A+4", "e"}},
       "a.po:3: \"A+3\" is never shown: \"A+2\" is missing\n"},
      {{{"A+1", "b"}}, "a.po:1: \"A+1\" is never shown: \"A+\" is missing\n"},
      {{{"A+", "a"}, {"A+1", ""}, {"A+2", "c"}}, "a.po:3: \"A+2\" is never shown: \"A+1\" is missing\n"},
      {{{"A+", "a"}, {"A+1", "", 0, false, true}, {"A+2", "c"}}, ""},
      {{{"A+", "A+"}, {"A+1", "A+1"}},
       "a.po:2: \"A+1\" is never shown: a text that is its own id ends the chain\n"},
  };
  for (const auto& [entries, findings] : rows)
    EXPECT_EQ(findings_alone(entries), findings);
}

TEST(TextRulesTest, TranslationsTakeTheSameArguments) {
  const std::tuple<const char*, const char*, std::string> rows[] = {
      {"%d files, %5.2f%%, %s", "%% %-8i / %f: %10.3s", ""},
      {"%x", "%X", "directive 1 is \"%X\", the reference has \"%x\""},
      {"%u", "%d", "directive 1 is \"%d\", the reference has \"%u\""},
      {"%s", "%b", "directive 1 is \"%b\", the reference has \"%s\""},
      {"%s %d", "%d %s", "directive 1 is \"%d\", the reference has \"%s\""},
      {"%*d", "%5d", "directive 1 is \"%5d\", the reference has \"%*d\""},
      {"%s %.3s", "%s %.*s", "directive 2 is \"%.*s\", the reference has \"%.3s\""},
      {"%s %s", "%s", "1 directive, the reference has 2"},
      {"Hello", "Hallo %s %s", "2 directives, the reference has 0"},
      {"%q", "%s", ""},  // the purpose of an invalid directive is unknown
  };
  for (const auto& [reference, translation, finding] : rows) {
    EXPECT_EQ(findings_beside({{"ID", reference}}, {{"ID", translation}}),
              finding.empty() ? "" : "de.po:1: ID: " + finding + " (en.po:1)\n");
  }
  EXPECT_EQ(findings_beside({{"SYSDEF.systxt_datefmt", "%m"}}, {{"SYSDEF.systxt_datefmt", "%d"}}), "");
}

// The order of text_id.h. Only numbers in the command's form continue a chain.
TEST(TextIdTest, ListsChainsByNumberAndSystemTextsByTheCatalogue) {
  const std::vector<std::string> listed = {
      "A", "A+", "A+1", "A+2", "A+10", "A+-1", "A+0", "A+01", "A+02", "A+1 ", "A+1x", "A+9999999999", "A+B+",
      "A+B+2", "B", "C+++2", "C+++12", "b", "\xE4", "SYSDEF.systxt_back", "SYSDEF.syschr_no",
      "SYSDEF.syserr_2", "SYSDEF.syserr_10", "SYSDEF.a", "SYSDEF.b"};
  std::vector<std::string> sorted = listed;
  std::ranges::shuffle(sorted, std::mt19937(1));
  std::ranges::sort(sorted, listed_before);
  EXPECT_EQ(sorted, listed);
}
// clang-format on

TEST(TextRulesTest, MissingAndSurplusTexts) {
  const PoEntry fuzzy = {"D", "d", 0, true};
  const PoEntry meant_empty = {"E", "", 0, false, true};
  const PoEntry system_text = {"SYSDEF.systxt_ok", " OK "};  // its reference is in the runtime
  EXPECT_EQ(findings_beside({{"A", "a"}, {"BYE", "b"}, {"C", "c"}, {"D", "d"}, meant_empty},
                            {{"C", ""}, fuzzy, {"X\n", "x"}, {"A", "a"}, system_text}),
            "de.po:1: \"BYE\" is missing (en.po:2)\n"
            "de.po:1: \"C\" is not translated (en.po:3)\n"
            "de.po:2: \"D\" is fuzzy and would be left out (en.po:4)\n"
            "de.po:1: \"E\" is missing (en.po:5)\n"
            "de.po:3: \"X\\n\" is not in the reference (en.po)\n");
  EXPECT_EQ(findings_beside({{"D", "d"}}, {fuzzy}, true), "");
  EXPECT_EQ(findings_beside({system_text}, {}),
            "de.po:1: \"SYSDEF.systxt_ok\" is missing (en.po:1)\n");
}

// msgmerge copies the text of a reference as the translation of a new id.
TEST(TextRulesTest, TextsOfTheReferenceAreNoTranslations) {
  const auto finding = [](const std::string& text, const PoEntry& translation,
                          const std::string& language = "de_AT") {
    PoFile reference = file_of("en.po", {{"A", text}});
    PoFile file = file_of("de.po", {translation});
    reference.language = "en";
    file.language = language;
    Findings findings;
    check_translation(reference, file, false, findings);
    return lines_of(findings);
  };
  const std::string copied =
      "de.po:1: \"A\" has the text of the reference (en.po:1); a comment \"# same\" says that it is "
      "meant\n";
  for (const std::string text : {"Only %d free", "OK", "%s\\tÄ\\n"}) {
    EXPECT_EQ(finding(text, {"A", text}), copied) << text;
    EXPECT_EQ(finding(text, {"A", text}, ""), copied) << text;
    EXPECT_EQ(finding(text, {"A", text, 0, false, false, true}), "") << text;  // marked as meant
    EXPECT_EQ(finding(text, {"A", text}, "en_GB"), "") << text;
    EXPECT_EQ(finding(text, {"A", text + "."}), "") << text;
  }
  for (const std::string text : {"%s: %5.2f %%", "\\x41b \\n", "%d x %d", "%*d%b"})
    EXPECT_EQ(finding(text, {"A", text}), "") << text;  // no words
}

}  // namespace
}  // namespace marigold::inner::test
