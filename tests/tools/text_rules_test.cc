#include "tools/text_rules.h"

#include <gtest/gtest.h>

namespace marigold {
namespace {

// The entries' lines are 1, 2, 3 and so on.
PoFile file_of(const char* path, std::vector<PoEntry> entries) {
  int line = 0;
  for (PoEntry& entry : entries)
    entry.line = ++line;
  return {path, std::move(entries)};
}

std::string lines_of(const Findings& findings) {
  std::string lines;
  for (const Finding& finding : findings)
    lines += finding.file + ":" + std::to_string(finding.line) + ": " + finding.message + "\n";
  return lines;
}

std::string findings_alone(std::vector<PoEntry> entries) {
  CodeSet code_set;
  std::string reason;
  EXPECT_TRUE(code_set.open("8859", reason));
  Findings findings;
  check_texts(file_of("a.po", std::move(entries)), code_set, false, findings);
  return lines_of(findings);
}

std::string findings_beside(std::vector<PoEntry> reference, std::vector<PoEntry> entries,
                            bool use_fuzzy = false) {
  Findings findings;
  check_translation(file_of("en.po", std::move(reference)), file_of("de.po", std::move(entries)),
                    use_fuzzy, findings);
  return lines_of(findings);
}

TEST(TextRulesTest, FormatsAndSizes) {
  struct Row {
    std::string text;
    std::string finding;
  };
  const std::string x250(250, 'x');
  for (const Row& row :
       {Row{"100%% %b %-5.2f %*.*d %c \\n\\\\\\\"\\x41B\\0101", ""},
        Row{"%q", "\"%q\" is not a directive"}, Row{"%-+5d", "\"%-+\" is not a directive"},
        Row{"%5b", "\"%5b\" is not a directive"}, Row{"%ä", "\"%ä\" is not a directive"},
        Row{"100 %", "the text ends in the directive \"%\""},
        Row{"%*.", "the text ends in the directive \"%*.\""},
        Row{"a\\", "the text ends in a backslash"}, Row{"\\ä", "\\ä is not an escape"},
        Row{"\\1", "\\1 is not an escape"}, Row{"\\xg", "an escape \\x without hexadecimal digits"},
        Row{"\\x41%d \\x41\\q", ""},  // the numeric escape takes the character behind it
        Row{x250, ""}, Row{"ä" + x250.substr(1), ""},  // 250 bytes in ISO 8859-1
        Row{x250 + "x", "the text has 251 bytes, more than 250"},
        Row{"5 €", "the code set 8859 lacks \"€\" (U+20AC)"}}) {
    const std::string expected = row.finding.empty() ? "" : "a.po:1: ID: " + row.finding + "\n";
    EXPECT_EQ(findings_alone({{"ID", row.text}}), expected) << row.text;
  }
  EXPECT_EQ(findings_alone({{x250 + "x", "t"}}),
            "a.po:1: " + x250 + "x: the id has 251 bytes, more than 250\n");
}

TEST(TextRulesTest, SystemTextsFitTheCatalogue) {
  struct Row {
    const char* key;
    const char* text;
    const char* finding;
  };
  const char* const blanks = "blanks";
  for (const Row& row :
       {Row{"systxt_back", "zurück", ""}, Row{"systxt_back", "zurück ", blanks},
        Row{"systxt_datefmt", "%d.%m.%y", ""},  // no format of the command's
        Row{"systxt_unheard", "x", "no entry of the system catalogue"}, Row{"syschr_yes", "j", ""},
        Row{"syschr_yes", "ja", "only the first character of \"ja\""},
        Row{"systxt_record", "Datensatz ", ""},
        // Seven characters as well, but the number that follows would stick to them.
        Row{"systxt_record", "Eintrag", blanks}, Row{"systxt_no", "NEIN", ""},
        Row{"systxt_no", "NON ", ""}, Row{"systxt_no", "NON", blanks},
        Row{"systxt_filelock", " für Datei gesperrt       ", ""},
        Row{"systxt_filelock", "die Datei ist gesperrt    ", blanks}}) {
    const std::string id = std::string("SYSDEF.") + row.key;
    const std::string found = findings_alone({{id, row.text}});
    const std::string expected = *row.finding == '\0' ? "" : "a.po:1: " + id + ": " + row.finding;
    EXPECT_EQ(found.substr(0, expected.size()), expected) << row.text;
    EXPECT_EQ(found.empty(), expected.empty()) << found;
  }
}

TEST(TextRulesTest, ChainsHaveNoGaps) {
  EXPECT_EQ(findings_alone({{"A+", "a"}, {"A+2", "c"}, {"A+1", "b"}, {"A+02", "x"}}), "");
  EXPECT_EQ(findings_alone({{"A+", "a"}, {"A+1", "b"}, {"A+3", "d"}, {"A+4", "e"}}),
            "a.po:3: \"A+3\" is never shown: \"A+2\" is missing\n");
  EXPECT_EQ(findings_alone({{"A+1", "b"}}), "a.po:1: \"A+1\" is never shown: \"A+\" is missing\n");
  EXPECT_EQ(findings_alone({{"A+", "a"}, {"A+1", ""}, {"A+2", "c"}}),
            "a.po:3: \"A+2\" is never shown: \"A+1\" is missing\n");
  EXPECT_EQ(findings_alone({{"A+", "a"}, {"A+1", "", 0, false, true}, {"A+2", "c"}}), "");
  EXPECT_EQ(findings_alone({{"A+", "A+"}, {"A+1", "A+1"}}),
            "a.po:2: \"A+1\" is never shown: a text that is its own id ends the chain\n");
}

TEST(TextRulesTest, TranslationsTakeTheSameArguments) {
  struct Row {
    const char* reference;
    const char* translation;
    const char* finding;
  };
  for (const Row& row : {
           Row{"%d files, %5.2f%%, %s", "%% %-8i / %f: %10.3s", ""},
           Row{"%x", "%X", "directive 1 is \"%X\", the reference has \"%x\""},
           Row{"%e", "%g", "directive 1 is \"%g\", the reference has \"%e\""},
           Row{"%u", "%d", "directive 1 is \"%d\", the reference has \"%u\""},
           Row{"%s", "%b", "directive 1 is \"%b\", the reference has \"%s\""},
           Row{"%s %d", "%d %s", "directive 1 is \"%d\", the reference has \"%s\""},
           Row{"%*d", "%5d", "directive 1 is \"%5d\", the reference has \"%*d\""},
           Row{"%s %.3s", "%s %.*s", "directive 2 is \"%.*s\", the reference has \"%.3s\""},
           Row{"%s %s", "%s", "1 directive, the reference has 2"},
           Row{"Hello", "Hallo %s %s", "2 directives, the reference has 0"},
           Row{"%q", "%s", ""},  // what the invalid one is for cannot be known
       }) {
    const std::string expected =
        *row.finding == '\0' ? "" : std::string("de.po:1: ID: ") + row.finding + " (en.po:1)\n";
    EXPECT_EQ(findings_beside({{"ID", row.reference}}, {{"ID", row.translation}}), expected)
        << row.translation;
  }
  EXPECT_EQ(findings_beside({{"SYSDEF.systxt_datefmt", "%m.%d.%y"}},
                            {{"SYSDEF.systxt_datefmt", "%d.%m.%y"}}),
            "");
}

TEST(TextRulesTest, MissingAndSurplusTexts) {
  EXPECT_EQ(
      findings_beside({{"A", "a"}, {"BYE", "b"}, {"C", "c"}, {"D", "d"}, {"E", "", 0, false, true}},
                      {{"C", ""}, {"D", "d", 0, true}, {"X\n", "x"}, {"A", "a"}}),
      "de.po:1: \"BYE\" is missing (en.po:2)\n"
      "de.po:1: \"C\" is not translated (en.po:3)\n"
      "de.po:2: \"D\" is fuzzy and would be left out (en.po:4)\n"
      "de.po:1: \"E\" is missing (en.po:5)\n"
      "de.po:3: \"X\\n\" is not in the reference (en.po)\n");
  EXPECT_EQ(findings_beside({{"D", "d"}}, {{"D", "d", 0, true}}, true), "");
  // System texts have their reference in the runtime.
  EXPECT_EQ(findings_beside({}, {{"SYSDEF.systxt_ok", " OK "}}), "");
  EXPECT_EQ(findings_beside({{"SYSDEF.systxt_ok", " OK "}}, {}),
            "de.po:1: \"SYSDEF.systxt_ok\" is missing (en.po:1)\n");
}

}  // namespace
}  // namespace marigold
