// SPDX-License-Identifier: GPL-3.0-or-later
// The command as scripts run it: the program itself, on databases that another program wrote.

#include "tests/support/support.h"

namespace marigold::inner::test {

const std::string kTexts = "locale/default/textdb";

struct ScrivelTest : testing::Test {
  ScrivelTest() {
    clearenv();
    setenv("PATH", "/usr/bin:/bin", 1);
    std::filesystem::create_symlink(SCRIVEL, "scrivel");
  }
  static void expect(std::initializer_list<Finished> runs) { expect_runs("./scrivel", runs); }

  WorkDirectory directory;
};

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

// A text may hold escape sequences for the terminal on purpose; a message may not.
TEST_F(ScrivelTest, ControlCharactersOfMessagesAreVisibleOnATerminal) {
  write_textdb(kTexts, {{"A+", "a\x1B[7m\n%\x07"}});
  const std::string messages =
      "key: A+ format: a\x1B[7m\n%\x07\n%\x07: invalid directive\nmissing argument\n"
      "key: A+1 format: A+1\nformat fehlt: A+1\n";
  expect({{"-v A+", "a\x1B[7m\n\n", messages}});
  setenv("LC_ALL", "C.UTF-8", 1);
  const auto on_terminal = [](const std::string& words) {
    return run_shell("script -qec './scrivel " + words + "' /dev/null </dev/null | tr -d '\\r'")
        .out;
  };
  EXPECT_EQ(on_terminal("-vn A+ >/dev/null"),
            "key: A+ format: a\\x1B[7m\\x0A%\\x07\n%\\x07: invalid directive\nmissing argument\n"
            "key: A+1 format: A+1\nformat fehlt: A+1\n");
  EXPECT_EQ(on_terminal("-n A+ 2>/dev/null"), "a\x1B[7m\n");
  EXPECT_TRUE(on_terminal("-\x9B").starts_with("./scrivel: unknown option, -\\x9B\n"));
}

TEST_F(ScrivelTest, LostOutputIsNeverSilent) {
  write_textdb(kTexts, {{"GREET", "Hello %s"}, {"A+", "0"}, {"STOP", "now\\c"}});
  const std::string lost = "./scrivel: standard output: ";
  expect({
      {"GREET Anna >/dev/full", "", lost + "No space left on device\n", 1},
      {"A+ >/dev/full", "", lost + "No space left on device\n", 1},
      {"STOP >/dev/full", "", lost + "No space left on device\n", 1},
      {"'a%3000000000dz' 1", "a", lost + "Value too large for defined data type\n", 1},
      {"'a%3000000000sz' 1", "a", lost + "Value too large for defined data type\n", 1},
      {"GREET Anna >&-", "", lost + "Bad file descriptor\n", 1},
      {"GREET Anna 2>&-", "Hello Anna\n"},
  });
  EXPECT_EQ(run_shell("{ sleep 0.2; ./scrivel KEY; echo \"status $?\" >&2; } | true").err,
            lost + "Broken pipe\nstatus 1\n");
}

TEST_F(ScrivelTest, OutputGoesOutInOneWrite) {
  write_textdb(kTexts, {{"A+", "one"}, {"A+1", "two"}, {"A+2", "%d %d"}});
  // Each write is a datagram: the first one must have the whole output.
  const Finished run = run_shell(
      "perl -MSocket -e 'socketpair(A, B, AF_UNIX, SOCK_DGRAM, 0) or die; "
      "if (!fork) { open(STDOUT, \">&\", \\*B); exec \"./scrivel\", \"A+\", 1, 2 } "
      "wait; recv(A, $m, 1000, 0); print $m'");
  EXPECT_EQ(run.out, "one\ntwo\n1 2\n");
}

TEST_F(ScrivelTest, LongTextsReachASlowReaderOfAPipeThatDoesNotBlock) {
  // Many times the capacity of a pipe, and single bytes up to a field and a text that just do not
  // fit.
  const std::string text(1'000'000, 'x');
  const std::string percents(65'536 + 65'530, '%');
  write_textdb(kTexts, {{"LONG", text + percents + percents + "%6dtail"}});
  const Finished run = run_shell(
      "perl -MFcntl -e 'fcntl(STDOUT, F_SETFL, O_WRONLY | O_NONBLOCK) or die; exec @ARGV' "
      "./scrivel LONG 7 | { sleep 0.2; cat; }");
  EXPECT_TRUE(run.out == text + percents + "     7tail\n");
  EXPECT_EQ(run.err, "");
}

TEST_F(ScrivelTest, ADamagedDatabaseEndsTheRunWithWhatWasWritten) {
  Records records = {{"A+", "first"}};
  for (int i = 1; i < 2000; ++i)
    records.emplace_back("A+" + std::to_string(i), std::string(20, 'x'));
  write_textdb(kTexts, records);
  const std::string bytes = read_file(kTexts + ".pag");
  int faults_in_the_chain = 0;
  // Cut at any length, a store is refused, or ends in a store fault, or answers: no crash, no hang.
  for (std::size_t length = 0; length < bytes.size(); length += 3001) {
    write_file(kTexts + ".pag", bytes.substr(0, length));
    const Finished run = run_shell("./scrivel A+");
    const bool fault = run.err.starts_with("gdbm fatal: ") && run.err.ends_with(".\n");
    EXPECT_EQ(run.status, fault ? 255 : 0) << length << ": " << run.err;
    faults_in_the_chain += fault && run.out.starts_with("first\n") ? 1 : 0;
  }
  EXPECT_GT(faults_in_the_chain, 0);
}

#ifndef __SANITIZE_ADDRESS__
// The dynamic loader would more than double the cost of a run.
TEST_F(ScrivelTest, IsLinkedWhole) {
  EXPECT_EQ(read_file("./scrivel").find("/ld-linux"), std::string::npos);
}
#endif

}  // namespace marigold::inner::test
