// The command as scripts run it: the program itself, on databases that another program wrote.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "tests/support/support.h"

namespace marigold {
namespace {

using test::Finished;

struct ScrivelTest : testing::Test {
  ScrivelTest() {
    clearenv();
    setenv("PATH", "/usr/bin:/bin", 1);
    std::filesystem::create_symlink(SCRIVEL, "scrivel");
  }
  static Finished run(const std::string& arguments) {
    return test::run_shell("./scrivel " + arguments);
  }
  static void write_texts(const test::Records& records) {
    test::write_textdb("locale/default/textdb", records);
  }

  test::WorkDirectory directory;
};

TEST_F(ScrivelTest, TextsOfTheLanguageAreFormatted) {
  test::write_textdb("locale/english/textdb",
                     {{"GREET", "Hello %s"}, {"EMPTY", ""}, {"STOP", "now\\cnever"}});
  test::write_textdb("locale/german/at/textdb", {{"GREET", "Gr\xFC\xDF Gott, %s"}});
  struct Row {
    const char* arguments;
    const char* out;
  };
  for (const Row& row :
       {Row{"GREET Anna", "Hello Anna\n"}, Row{"-n GREET Anna Berta", "Hello Anna"},
        Row{"-t other GREET Anna", "Hello Anna\n"}, Row{"NONE", "NONE\n"}, Row{"''", "\n"},
        Row{"EMPTY", "\n"}, Row{"STOP", "now"}, Row{"-- -n", "-n\n"},
        Row{"'no text, a format: %05d' 42", "no text, a format: 00042\n"}}) {
    const Finished finished = run(row.arguments);
    EXPECT_EQ(finished.status, 0) << row.arguments;
    EXPECT_EQ(finished.out, row.out) << row.arguments;
    EXPECT_EQ(finished.err, "") << row.arguments;
  }
  setenv("LANGUAGE_IDENTIFIER", "german_at.8859", 1);
  EXPECT_EQ(run("GREET Anna").out, "Gr\xFC\xDF Gott, Anna\n");
}

TEST_F(ScrivelTest, ChainsRunUntilATextIsMissing) {
  write_texts({{"A+", "one %s"},
               {"A+1", ""},
               {"A+2", "three %s"},
               {"A+4", "never"},
               {"SELF+", "x"},
               {"SELF+1", "SELF+1"},
               {"+", "plus"},
               {"+1", "one"}});
  EXPECT_EQ(run("A+ a b c").out, "one a\n\nthree b\n");
  EXPECT_EQ(run("-n A+ a b c").out, "one athree b");
  EXPECT_EQ(run("SELF+").out, "x\n");
  EXPECT_EQ(run("+").out, "plus\none\n");
  EXPECT_EQ(run("NONE+").out, "NONE+\n");
  const Finished verbose = run("-v A+ a b");
  EXPECT_EQ(verbose.status, 0);
  EXPECT_EQ(verbose.err,
            "key: A+ format: one %s\nkey: A+1 format: \nformat0\nkey: A+2 format: three %s\n"
            "key: A+3 format: A+3\nformat fehlt: A+3\n");
}

TEST_F(ScrivelTest, KeysOfAChainMayNotGrowTooLong) {
  const std::string key249 = std::string(248, 'k') + "+";
  const std::string key250 = std::string(249, 'k') + "+";
  test::Records records = {{key249, "0"}, {key250, "base"}, {key250 + "1", "never"}};
  for (int i = 1; i <= 10; ++i)
    records.emplace_back(key249 + std::to_string(i), std::to_string(i));
  write_texts(records);
  Finished finished = run(key249);
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.out, "0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n");
  EXPECT_EQ(finished.err, "keystring to long\n");
  finished = run(key250);
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.out, "base\n");
  EXPECT_EQ(finished.err, "keystring to long\n");
  EXPECT_EQ(run(std::string(4000, 'k')).out.size(), 4001U);  // alone it may have any length
}

TEST_F(ScrivelTest, LongTextsAreDeliveredWhole) {
  const std::string text(100'000, 'x');
  write_texts({{"LONG", text}});
  EXPECT_TRUE(run("LONG").out == text + "\n");
}

TEST_F(ScrivelTest, UsageErrorsEndWithStatus1) {
  const std::string usage = "Usage: ./scrivel [-n -t <textfile> ] textid [argument...]\n";
  struct Row {
    const char* arguments;
    std::string before;
  };
  for (const Row& row : {Row{"", ""}, Row{"-n", ""}, Row{"-? KEY", ""},
                         Row{"-x KEY", "./scrivel: unknown option, -x\n"},
                         Row{"-nt", "./scrivel: argument missing for -t\n"}}) {
    const Finished finished = run(row.arguments);
    EXPECT_EQ(finished.status, 1) << row.arguments;
    EXPECT_EQ(finished.out, "") << row.arguments;
    EXPECT_EQ(finished.err, row.before + usage) << row.arguments;
  }
}

TEST_F(ScrivelTest, WithoutADatabaseEveryKeyIsItsText) {
  const std::string missing = "Unable to locate application default file: textdb\n";
  Finished finished = run("HELLO+");
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.out, "HELLO+\n");
  EXPECT_EQ(finished.err, missing);
  // What is there and is no database is reported by both who try it.
  std::filesystem::create_directories("locale/default");
  test::write_file("locale/default/textdb.pag", std::string(5000, '\xAA'));
  test::write_file("locale/default/textdb.dir", "");
  finished = run("HELLO");
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.out, "HELLO\n");
  const std::string reason = "./locale/default/textdb: Invalid argument\n";
  EXPECT_EQ(finished.err, reason + reason + missing);
}

TEST_F(ScrivelTest, TheCatalogueOfTheLanguageIsUsed) {
  test::write_textdb("locale/english/textdb", {{"SYSDEF.syserr_error", "Fehler"},
                                               {"SYSDEF.syserr_17", "st: Begrenzer fehlt"}});
  setenv("LANGUAGE_SEARCHPATH", std::string(250, 'x').c_str(), 1);
  const Finished finished = run("KEY");  // the fault comes before the catalogue is filled
  EXPECT_EQ(finished.status, 128 + SIGABRT);
  EXPECT_EQ(finished.err.rfind("error\n        17\nst: missing delimiter\n", 0), 0U)
      << finished.err;
}

TEST_F(ScrivelTest, LostOutputIsNeverSilent) {
  write_texts({{"GREET", "Hello %s"}, {"A+", "0"}, {"STOP", "now\\c"}});
  const std::string full = "./scrivel: standard output: No space left on device\n";
  struct Row {
    const char* arguments;
    std::string err;
  };
  for (const Row& row :
       {Row{"GREET Anna >/dev/full", full}, Row{"A+ >/dev/full", full},
        Row{"STOP >/dev/full", full},
        Row{"'%3000000000d' 1",
            "./scrivel: standard output: Value too large for defined data type\n"},
        Row{"GREET Anna >&-", "./scrivel: standard output: Bad file descriptor\n"}}) {
    const Finished finished = run(row.arguments);
    EXPECT_EQ(finished.status, 1) << row.arguments;
    EXPECT_EQ(finished.err, row.err) << row.arguments;
  }
  const Finished pipe =
      test::run_shell("{ sleep 0.2; ./scrivel GREET Anna; echo \"status $?\" >&2; } | true");
  EXPECT_EQ(pipe.err, "./scrivel: standard output: Broken pipe\nstatus 1\n");
  EXPECT_EQ(run("GREET Anna 2>&-").status, 0);
}

TEST_F(ScrivelTest, OutputGoesOutInOneWrite) {
  write_texts({{"A+", "one"}, {"A+1", "two"}, {"A+2", "%d %d"}});
  // A datagram a write: what arrives in the first one is all of it.
  const Finished finished = test::run_shell(
      "perl -MSocket -e 'socketpair(A, B, AF_UNIX, SOCK_DGRAM, 0) or die; "
      "if (!fork) { open(STDOUT, \">&\", \\*B); exec \"./scrivel\", \"A+\", 1, 2 } "
      "wait; recv(A, $m, 1000, 0); print $m'");
  EXPECT_EQ(finished.out, "one\ntwo\n1 2\n");
}

TEST_F(ScrivelTest, ADamagedDatabaseEndsTheRunWithWhatWasWritten) {
  test::Records records = {{"A+", "first"}};
  for (int i = 0; i < 2000; ++i)
    records.emplace_back("KEY" + std::to_string(i), std::string(100, 'x'));
  write_texts(records);
  const std::string bytes = test::read_file("locale/default/textdb.pag");
  int faults = 0;
  // Cut at any length it is refused, or ends in a store fault, or answers: never a crash, never a
  // hang.
  for (std::size_t length = 0; length < bytes.size(); length += 3001) {
    test::write_file("locale/default/textdb.pag", bytes.substr(0, length));
    const Finished finished = run("A+");
    if (finished.status == 255) {
      ++faults;
      EXPECT_NE(finished.err.find("gdbm fatal: "), std::string::npos) << length;
    } else {
      EXPECT_EQ(finished.status, 0) << length << ": " << finished.err;
    }
  }
  EXPECT_GT(faults, 0);
}

}  // namespace
}  // namespace marigold
