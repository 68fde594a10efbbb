// marigold texts as authors and build scripts run it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include "tests/support/support.h"
#include "tools/text_database.h"

namespace marigold {
namespace {

using test::Finished;

const std::string kHeader = "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n";

struct TextsTest : testing::Test {
  TextsTest() {
    unsetenv("LANGUAGE_IDENTIFIER");
    std::filesystem::create_symlink(MARIGOLD, "marigold");
    test::write_file("good.po", kHeader + "msgid \"GREET\"\nmsgstr \"Grüß Gott %s\"\n");
  }
  static Finished run(const std::string& arguments) {
    return test::run_shell("./marigold " + arguments);
  }
  static std::map<std::string, std::string> records_of(const std::string& database) {
    std::vector<TextRecord> records;
    std::string reason;
    EXPECT_TRUE(text_database_read(database, records, reason)) << reason;
    std::map<std::string, std::string> sorted;
    for (const TextRecord& record : records)
      sorted[record.key] = record.value;
    return sorted;
  }

  test::WorkDirectory directory;
};

TEST_F(TextsTest, BuildsForTheLanguageOfTheEnvironmentOrTheOneNamed) {
  const std::string key("GREET\0", 6);
  EXPECT_EQ(run("texts build good.po -o a/b/textdb").err, "");
  EXPECT_EQ(records_of("a/b/textdb")[key], std::string("Gr\xFC\xDF Gott %s\0", 13));
  EXPECT_EQ(run("texts build -v good.po -o a/b/textdb.pag --code-set utf8").err,
            "a/b/textdb: 1 text\n");
  EXPECT_EQ(records_of("a/b/textdb")[key], std::string("Grüß Gott %s\0", 15));
  setenv("LANGUAGE_IDENTIFIER", "german_at.850", 1);
  EXPECT_EQ(run("texts build good.po -o textdb").status, 0);
  EXPECT_EQ(records_of("textdb")[key], std::string("Gr\x81\xE1 Gott %s\0", 13));
}

TEST_F(TextsTest, UnusableInputLeavesTheOldDatabaseAsItWas) {
  ASSERT_EQ(run("texts build good.po -o textdb").status, 0);
  const std::string before = test::read_file("textdb.pag");
  test::write_file("bad.po", "msgid \"A\"\nmsgstr \"a\"\nmsgid \"A\"\nmsgstr \"b\"\n");
  test::write_file("euro.po", kHeader + "msgid \"E\"\nmsgstr \"5 €\"\n");
  test::write_file("again.po", kHeader + "msgid \"GREET\"\nmsgstr \"Hi\"\n");
  struct Row {
    const char* arguments;
    const char* message;
  };
  for (const Row& row :
       {Row{"bad.po -o textdb", "bad.po:3: duplicate message definition\n"},
        Row{"good.po bad.po -o textdb", "bad.po:3: duplicate message definition\n"},
        Row{"euro.po -o textdb", "euro.po:5: the code set 8859 lacks \"€\" (U+20AC)\n"},
        Row{"good.po again.po -o textdb", "again.po:5: \"GREET\" has a text already (good.po:5)\n"},
        Row{"missing.po -o textdb", "missing.po: is not a file that can be read\n"},
        Row{"good.po -o textdb --code-set klingon",
            "marigold: the code set \"klingon\" is not known\n"},
        Row{"good.po -o good.po/textdb", "good.po: Not a directory\n"},
        Row{"good.po -o .", ".: is a directory; name the database in it, textdb\n"},
        Row{"good.po", "marigold: --output is required\nRun with --help for the usage.\n"}}) {
    const Finished finished = run(std::string("texts build ") + row.arguments);
    EXPECT_EQ(finished.status, 2) << row.arguments;
    EXPECT_EQ(finished.err, row.message);
    EXPECT_EQ(finished.out, "");
  }
  EXPECT_EQ(test::read_file("textdb.pag"), before);
}

TEST_F(TextsTest, AFullDiskLeavesTheOldDatabaseAndNothingElse) {
  std::string big = kHeader;
  for (int i = 0; i < 500; ++i)
    big += "msgid \"K" + std::to_string(i) + "\"\nmsgstr \"" + std::string(200, 'x') + "\"\n";
  test::write_file("big.po", big);
  std::filesystem::create_directory("db");
  ASSERT_EQ(run("texts build good.po -o db/textdb").status, 0);
  const std::string before = test::read_file("db/textdb.pag");
  int failures = 0;
  for (const char* blocks : {"0", "4", "32", "64", "128"}) {  // of 512 or 1024 bytes
    const Finished finished =
        test::run_shell(std::string("(ulimit -f ") + blocks +
                        "; exec ./marigold texts build big.po -o db/textdb) 2>&1 | cat >&2");
    failures += finished.err.starts_with("db/textdb") ? 1 : 0;
    EXPECT_EQ(test::read_file("db/textdb.pag"), before) << blocks << finished.err;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("db"), {}), 2) << blocks;
  }
  EXPECT_EQ(failures, 5);
  for (const char* output : {">/dev/full", "-o /dev/full", "-o db/missing/x.po"})
    EXPECT_EQ(run("texts dump db/textdb " + std::string(output)).status, 2) << output;
  EXPECT_EQ(run("--help >/dev/full").status, 2);
}

TEST_F(TextsTest, WhatABuildLeavesOutOrWarnsOfIsSaid) {
  test::write_file("in.po",
                   kHeader +
                       "#, fuzzy\nmsgid \"F\"\nmsgstr \"f\"\n\nmsgid \"U\"\nmsgstr \"\"\n\n"
                       "#. empty\nmsgid \"E\"\nmsgstr \"\"\n\nmsgid \"L\"\nmsgstr \"" +
                       std::string(251, 'x') + "\"\n");
  const std::string long_text = "in.po:16: \"L\": the text has 251 bytes, more than 250\n";
  Finished finished = run("texts build in.po -o textdb");
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.err, long_text + "in.po: 2 texts left out: 1 fuzzy, 1 not translated\n");
  EXPECT_EQ(records_of("textdb")[std::string("L\0", 2)].size(), 252U);
  EXPECT_EQ(records_of("textdb").count(std::string("F\0", 2)), 0U);
  EXPECT_EQ(records_of("textdb")[std::string("E\0", 2)], std::string(1, '\0'));
  finished = run("texts build --use-fuzzy in.po -o textdb");
  EXPECT_EQ(finished.err, long_text + "in.po: 1 text left out: 0 fuzzy, 1 not translated\n");
  EXPECT_EQ(records_of("textdb")[std::string("F\0", 2)], std::string("f\0", 2));
}

TEST_F(TextsTest, HostileTextsComeBackByteForByte) {
  std::mt19937 random(7);
  const auto bytes = [&random](std::size_t length) {
    std::string text;
    while (text.size() < length) {
      const auto byte = static_cast<char>(random() % 255 + 1);
      if (byte != '\4') text += byte;
    }
    return text;
  };
  std::map<std::string, std::string> records;
  for (int i = 0; i < 10000; ++i) {
    const std::size_t length = i % 1000 == 0 ? 20000 : random() % 60;
    records[bytes(1 + random() % 12) + '\0'] = bytes(length) + '\0';
  }
  test::write_raw_textdb("db/textdb", {records.begin(), records.end()});
  EXPECT_EQ(run("texts dump db/textdb -o one.po").err, "");
  ASSERT_EQ(run("texts build one.po -o again/textdb 2>/dev/null").status, 0);
  EXPECT_EQ(records_of("again/textdb"), records);
  ASSERT_EQ(run("texts dump again/textdb >two.po").status, 0);
  EXPECT_EQ(test::read_file("two.po"), test::read_file("one.po"));
  ASSERT_EQ(run("texts build two.po -o third/textdb 2>/dev/null").status, 0);
  EXPECT_EQ(test::read_file("third/textdb.pag"), test::read_file("again/textdb.pag"));
}

TEST_F(TextsTest, RecordsThatPoCannotHoldAreNamed) {
  const auto z = [](std::string text) { return text + '\0'; };
  test::write_raw_textdb("textdb", {{z("GOOD"), z("\x80")},
                                    {"NOZERO", z("a")},
                                    {z("OPEN"), "a"},
                                    {z(""), z("a")},
                                    {z("IN") + z("SIDE"), z("a")},
                                    {z("ZERO"), z("a") + z("b")},
                                    {z("\xE4\xFF"), z("\4")},
                                    {z("BYTE"), z("\x81")}});
  const Finished finished = run("texts dump textdb --code-set 1252 2>&1 >out.po | sort >&2");
  EXPECT_EQ(finished.err,
            "textdb: \"\": left out: the empty id is that of the header in a PO file\n"
            "textdb: \"<228><255>\": left out: a PO file cannot hold the byte 4\n"
            "textdb: \"BYTE\": left out: its bytes are not text in the code set 1252\n"
            "textdb: \"IN\\000SIDE\": left out: a PO file cannot hold the byte 0\n"
            "textdb: \"NOZERO\": left out: the key has no zero byte behind it, no reader finds it\n"
            "textdb: \"OPEN\": the text has no zero byte behind it; written as if it had\n"
            "textdb: \"ZERO\": left out: a PO file cannot hold the byte 0\n");
  EXPECT_EQ(test::read_file("out.po"),
            "msgid \"\"\nmsgstr \"\"\n\"MIME-Version: 1.0\\n\"\n"
            "\"Content-Type: text/plain; charset=UTF-8\\n\"\n"
            "\"Content-Transfer-Encoding: 8bit\\n\"\n\n"
            "msgid \"GOOD\"\nmsgstr \"€\"\n\nmsgid \"OPEN\"\nmsgstr \"a\"\n");
  EXPECT_EQ(run("texts dump textdb --code-set 1252 >out.po").status, 1);
  EXPECT_EQ(run("texts dump missing").err,
            "missing.pag: File open error: No such file or directory\n");
}

TEST_F(TextsTest, CheckFindsReportsAndExits) {
  test::write_file("bad.po", kHeader + "msgid \"GREET\"\nmsgstr \"Hi %d\"\n");
  Finished finished = run("texts check good.po bad.po good.po");
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.out,
            "bad.po:5: GREET: directive 1 is \"%d\", the reference has \"%s\" (good.po:5)\n");
  EXPECT_EQ(finished.err, "marigold: 1 finding\n");
  EXPECT_EQ(run("texts check --json good.po bad.po").out,
            "{\"file\":\"bad.po\",\"line\":5,\"rule\":\"arguments\",\"id\":\"GREET\",\"message\":"
            "\"GREET: directive 1 is \\\"%d\\\", the reference has \\\"%s\\\" (good.po:5)\"}\n");
  finished = run("texts check good.po good.po");
  EXPECT_EQ(finished.status, 0);
  EXPECT_EQ(finished.out + finished.err, "");
  EXPECT_EQ(run("texts check good.po missing.po bad.po").status, 2);
}

}  // namespace
}  // namespace marigold
