// SPDX-License-Identifier: GPL-3.0-or-later
// The command as scripts run it: the program itself, on databases that another program wrote.

#include "tests/command/scrivel_support.h"

namespace marigold::inner::test {

// clang-format off
TEST_F(ScrivelTest, TextsOfTheLanguageAreFormatted) {
  write_textdb("locale/english/textdb", {{"GREET", "Hello %s"}, {"EMPTY", ""}, {"STOP", "now\\cnever"}});
  write_textdb("locale/german/at/textdb", {{"GREET", "Gr\xFC\xDF Gott, %s"}});
  expect({
      {"-n GREET Anna Berta", "Hello Anna"}, {"-t other GREET Anna", "Hello Anna\n"},
      {"NONE", "NONE\n"}, {"''", "\n"}, {"EMPTY", "\n"}, {"STOP", "now"},
      {"'no text, a format: %05d' 42", "no text, a format: 00042\n"},
  });
  setenv("LANGUAGE_IDENTIFIER", "german_at.8859", 1);
  expect({{"GREET Anna", "Gr\xFC\xDF Gott, Anna\n"}});
}

TEST_F(ScrivelTest, ChainsRunUntilATextIsMissing) {
  write_textdb(kTexts, {{"A+", "one %s"}, {"A+1", ""}, {"A+2", "three %s"}, {"A+4", "never"},
               {"SELF+", "x"}, {"SELF+1", "SELF+1"}, {"+", "plus"}, {"+1", "one"}});
  expect({
      {"A+ a b c", "one a\n\nthree b\n"}, {"-n A+ a b c", "one athree b"},
      {"SELF+", "x\n"}, {"+", "plus\none\n"}, {"NONE+", "NONE+\n"},
      {"-v A+ a b", "one a\n\nthree b\n",
       "key: A+ format: one %s\nkey: A+1 format: \nformat0\nkey: A+2 format: three %s\n"
       "key: A+3 format: A+3\nformat fehlt: A+3\n"},
  });
}

TEST_F(ScrivelTest, KeysOfAChainMayNotGrowTooLong) {
  const std::string key249 = std::string(248, 'k') + "+";
  const std::string key250 = "k" + key249;
  Records records = {{key249, "0"}, {key250, "base"}, {key250 + "1", "never"}};
  for (int i = 1; i <= 10; ++i)
    records.emplace_back(key249 + std::to_string(i), std::to_string(i));
  write_textdb(kTexts, records);
  const std::string alone(4000, 'k');  // may have any length
  expect({{key249, "0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n", "keystring to long\n", 1},
          {key250, "base\n", "keystring to long\n", 1},
          {alone, alone + "\n"}});
}

TEST_F(ScrivelTest, OptionsAreTakenAsTheClassicParserDoes) {
  write_textdb(kTexts, {});
  const std::string usage = "Usage: ./scrivel [-n -t <textfile> ] textid [argument...]\n";
  const std::string unknown = "./scrivel: unknown option, -";
  expect({
      {"-nv KEY", "KEY", "key: KEY format: KEY\n"},
      {"-n KEY -v", "KEY"},    {"-t -n KEY", "KEY\n"},    {"-tNAME KEY", "KEY\n"},    {"-nt NAME KEY", "KEY"},
      {"-", "-\n"},            {"-- -n", "-n\n"},         {"-t '' KEY", "KEY\n"},
      {"-n --", "", usage, 1}, {"-?n KEY", "", usage, 1},
      {"-x:n KEY", "", unknown + "x\n" + unknown + ":\n" + usage, 1},
      {"---n KEY", "", unknown + "-\n" + unknown + "-\n" + usage, 1},
      {"-nt", "", "./scrivel: argument missing for -t\n" + usage, 1},
      // Each letter of a long option counts as an option.
      {"--nov", "", unknown + "-\n" + unknown + "o\n" + usage, 1},
  });
}
// clang-format on

TEST_F(ScrivelTest, WithoutADatabaseEveryKeyIsItsText) {
  const std::string missing = "Unable to locate application default file: textdb\n";
  expect({{"HELLO+", "HELLO+\n", missing}});
  std::filesystem::create_directories("locale/default");
  write_file(kTexts + ".pag", std::string(5000, '\xAA'));
  write_file(kTexts + ".dir", "");
  // Both readers of a damaged database report it.
  const std::string reason = "./locale/default/textdb: Invalid argument\n";
  expect({{"HELLO", "HELLO\n", reason + reason + missing}});
}

TEST_F(ScrivelTest, AFatalErrorIsReportedAndAborts) {
  setenv("LANGUAGE_SEARCHPATH", std::string(250, 'x').c_str(), 1);
  const std::string report =
      "error\n        17\nst: missing delimiter\nplease document this error message and contact\n"
      "software support for additional advice.\n";
  expect({{"KEY", "", report, 134}});
}

TEST_F(ScrivelTest, AFieldThatIsTooWideIsNeverSilent) {
  write_textdb(kTexts, {});
  const std::string lost = "./scrivel: standard output: Value too large for defined data type\n";
  for (const char* directive : {"3000000000d", "3000000000s", ".3000000000d", "-2147483647x"})
    expect({{"'a%"s + directive + "z' 1", "a", lost, 1}});
}

TEST_F(ScrivelTest, ADamagedDatabaseEndsTheRunWithWhatWasWritten) {
  Records records = {{"A+", "first"}};
  for (int i = 1; i < 2300; ++i)
    records.emplace_back("A+" + std::to_string(i), std::string(20, 'x'));
  write_textdb(kTexts, records);
  const std::string bytes = read_file(kTexts + ".pag");
  int faults_in_the_chain = 0;
  // Cut at any length, a store is refused, or ends in a store fault, or answers: no crash, no hang.
  // Most of those that begin a chain lack little.
  std::size_t step = 0;
  for (std::size_t length = 0; length < bytes.size(); length += step) {
    step = length + 12'000 < bytes.size() ? 5003 : 401;
    write_file(kTexts + ".pag", bytes.substr(0, length));
    const Finished run = run_shell("./scrivel A+");
    const bool fault = run.err.starts_with("gdbm fatal: ") && run.err.ends_with(".\n");
    EXPECT_EQ(run.status, fault ? 255 : 0) << length << ": " << run.err;
    faults_in_the_chain += fault && run.out.starts_with("first\n") ? 1 : 0;
  }
  EXPECT_GT(faults_in_the_chain, 0);
}

}  // namespace marigold::inner::test
