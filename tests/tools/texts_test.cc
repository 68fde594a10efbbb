// SPDX-License-Identifier: GPL-3.0-or-later
// marigold texts as authors and build scripts run it.

#include <algorithm>
#include <map>
#include <random>

#include "runtime/texte/text_store.h"
#include "tests/support/support.h"
#include "tools/texts/text_database.h"

namespace marigold::inner::test {
namespace {

const std::string kBoth = "textdb.dir\ntextdb.pag\n";
const std::string kHeader = "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n";

std::string entry(const std::string& id, const std::string& text) {
  return "msgid \"" + id + "\"\nmsgstr \"" + text + "\"\n";
}

using Texts = std::map<std::string, std::string>;

const Texts kGreeting = {{"GREET\0"s, "Gr\xFC\xDF Gott %s\0"s}};

Texts records_of(const std::string& database) {
  std::vector<TextRecord> records;
  std::string reason;
  EXPECT_TRUE(text_database_read(database, records, reason)) << reason;
  Texts sorted;
  for (const TextRecord& record : records)
    sorted[record.key] = record.value;
  return sorted;
}

struct TextsTest : testing::Test {
  TextsTest() {
    unsetenv("LANGUAGE_IDENTIFIER");
    place_program(MARIGOLD, "marigold");
    write_file("good.po", kHeader + entry("GREET", "Grüß Gott %s"));
  }
  static void expect(std::initializer_list<Finished> runs) {
    expect_runs("./marigold texts", runs);
  }

  WorkDirectory directory;
};

TEST_F(TextsTest, BuildsForTheLanguageOfTheEnvironmentOrTheOneNamed) {
  expect({{"build good.po -o a/b/textdb"}});
  EXPECT_EQ(records_of("a/b/textdb"), kGreeting);
  expect({{"build -v good.po -o a/b/textdb.pag --code-set utf8", "", "a/b/textdb: 1 text\n"}});
  EXPECT_EQ(records_of("a/b/textdb"), (Texts{{"GREET\0"s, "Grüß Gott %s\0"s}}));
  setenv("LANGUAGE_IDENTIFIER", "german_at.850", 1);
  expect({{"build good.po -o textdb"}});
  EXPECT_EQ(records_of("textdb"), (Texts{{"GREET\0"s, "Gr\x81\xE1 Gott %s\0"s}}));
}

TEST_F(TextsTest, UnusableInputLeavesTheOldDatabaseAsItWas) {
  expect({{"build good.po -o textdb"}});
  const std::string before = read_file("textdb.pag");
  write_file("bad.po", entry("A", "a") + entry("A", "b"));
  write_file("euro.po", kHeader + entry("E", "5 €"));
  write_file("two.po", kHeader + entry("GREET", "Hi"));
  std::filesystem::create_directories("taken/textdb.pag/inside");
  expect({
      {"build good.po bad.po -o textdb", "", "bad.po:3: duplicate message definition\n", 2},
      {"build euro.po -o textdb", "", "euro.po:5: the code set 8859 lacks \"€\" (U+20AC)\n", 2},
      {"build good.po two.po -o textdb", "", "two.po:5: \"GREET\" has a text already (good.po:5)\n",
       2},
      {"build missing.po -o textdb", "", "missing.po: No such file or directory\n", 2},
      {"build good.po -o textdb --code-set x", "", "marigold: the code set \"x\" is not known\n",
       2},
      {"build good.po -o good.po/textdb", "", "good.po: Not a directory\n", 2},
      {"build good.po -o taken/textdb", "", "taken/textdb.pag: Is a directory\n", 2},
      {"build good.po -o .", "", ".: is a directory; name the database in it, textdb\n", 2},
      {"build good.po", "", "marigold: --output is required\nRun with --help for the usage.\n", 2},
      {"check good.po missing.po", "", "missing.po: No such file or directory\n", 2},
      {"dump missing", "", "missing.pag: File open error: No such file or directory\n", 2},
  });
  EXPECT_EQ(read_file("textdb.pag"), before);
  EXPECT_EQ(run_shell("ls -A taken").out, kBoth);  // no temporaries
}

TEST_F(TextsTest, AWordThatIsNotKnownIsNamedWithTheOneThatIsMeant) {
  const std::pair<const char*, const char*> rows[] = {
      {"data laod A b.csv", " data: unknown command \"laod\"; did you mean \"load\"?"},
      {"data dmup --json A", " data: unknown command \"dmup\"; did you mean \"dump\"?"},
      {"list", ": unknown command \"list\"; did you mean \"lists\"?"},
      {"texts nosuch",
       " texts: unknown command \"nosuch\"; its commands are build, dump, check, template"},
      {"", ": a command is missing; its commands are texts, data, lists"},
      {"texts build --oputput=x a.po",
       " texts build: unknown option \"--oputput\"; did you mean \"--output\"?"},
      {"texts dump -x a", " texts dump: unknown option \"-x\"; --help lists the options"},
      {"texts dump a b c", " texts dump: \"b\" is a word too many"},
  };
  for (const auto& [words, message] : rows) {
    expect_runs(
        "./marigold",
        {{words, "", "marigold" + std::string(message) + "\nRun with --help for the usage.\n", 2}});
  }
}

TEST_F(TextsTest, ADatabaseWithTextsIsNotReplacedByOneWithout) {
  write_file("none.po", kHeader + "#. empty\n" + entry("E", "") + entry("GREET", ""));
  const std::string left_out = "none.po: 1 text left out: 0 fuzzy, 1 not translated\n";
  const std::string refused =
      "textdb: is not replaced: the PO files have no text for it (with --force it becomes an empty "
      "database)\n";
  expect({{"build none.po -o textdb", "", left_out},
          {"build none.po -o textdb", "", left_out},
          {"build good.po -o textdb"},
          {"build none.po -o textdb", "", left_out + refused, 2}});
  EXPECT_EQ(records_of("textdb"), kGreeting);
  expect({{"build --force none.po -o textdb", "", left_out}});
  EXPECT_EQ(records_of("textdb"), (Texts{{"E\0"s, "\0"s}}));
  write_file("textdb.pag", "damaged: who knows what it has held");
  expect({{"build none.po -o textdb", "", left_out + refused, 2}});
}

// A translation that msgmerge makes of the template has no text of the reference.
TEST_F(TextsTest, ATemplateHasTheTextsAsComments) {
  write_file("en.po", kHeader + "# One argument: ä.\n#\n# same\n" + entry("A", "Hello %s\\n") +
                          "#. empty\n" + entry("E", "") + entry("SYSDEF.systxt_ok", " OK "));
  const std::string texts =
      "msgid \"\"\nmsgstr \"\"\n\"MIME-Version: 1.0\\n\"\n"
      "\"Content-Type: text/plain; charset=UTF-8\\n\"\n\"Content-Transfer-Encoding: 8bit\\n\"\n\n"
      "#. One argument: ä.\n#.\n#. Text: \"Hello %s\\n\"\nmsgid \"A\"\nmsgstr \"\"\n\n"
      "#. empty\nmsgid \"E\"\nmsgstr \"\"\n\n"
      "#. Text: \" OK \"\nmsgid \"SYSDEF.systxt_ok\"\nmsgstr \"\"\n";
  expect(
      {{"template en.po", texts},
       {"template en.po -o t.pot"},
       {"template", "", "marigold: REFERENCE.po is required\nRun with --help for the usage.\n", 2},
       {"check --code-set utf8 en.po t.pot",
        "t.pot:11: \"A\" is not translated (en.po:8)\n"
        "t.pot:19: \"SYSDEF.systxt_ok\" is not translated (en.po:13)\n",
        "marigold: 2 findings\n", 1}});
  EXPECT_EQ(read_file("t.pot"), texts);
  // The file has one of the runtime's 136 texts already.
  EXPECT_EQ(run_shell("./marigold texts template --system en.po | grep -c '^msgid \"SYSDEF'").out,
            "136\n");
}

TEST_F(TextsTest, AFullDiskLeavesTheOldDatabaseAndNothingElse) {
  std::string big = kHeader;
  for (int i = 0; i < 500; ++i)
    big += entry(std::to_string(i), std::string(200, 'x'));
  write_file("big.po", big);
  expect({{"build good.po -o db/textdb"}});
  const std::string before = read_file("db/textdb.pag");
  for (const char* blocks : {"0", "4", "32", "64", "128"}) {  // of 512 or 1024 bytes
    setenv("BLOCKS", blocks, 1);
    const Finished run = run_shell(
        "(ulimit -f $BLOCKS; ./marigold texts build big.po -o db/textdb 2>&1) | cat >&2; ls -A db");
    EXPECT_TRUE(run.err.starts_with("db/textdb")) << blocks << run.err;
    EXPECT_EQ(run.out, kBoth) << blocks;
    EXPECT_EQ(read_file("db/textdb.pag"), before) << blocks;
  }
  const std::string dump = "dump db/textdb ";
  expect({{dump + ">/dev/full", "", "standard output: No space left on device\n", 2},
          {dump + "-o /dev/full", "", "/dev/full: No space left on device\n", 2}});
  EXPECT_EQ(run_shell("./marigold --help >/dev/full").status, 2);
}

TEST_F(TextsTest, AReaderKeepsWhatItHasOpenedAndAStopChangesNothing) {
  write_file("new.po", entry("GREET", "new"));
  expect({{"build good.po -o db/textdb"}});
  TextStore reader;
  ASSERT_TRUE(reader.open("db/textdb"));
  std::filesystem::permissions("db/textdb.pag", std::filesystem::perms::owner_read);
  // Gets a signal to stop before its start: one that it blocks until then, or one that it ignores.
  const std::string stop =
      "perl -MPOSIX -e '$SIG{TERM} = shift; sigprocmask(SIG_BLOCK, POSIX::SigSet->new(SIGTERM)); "
      "kill TERM => $$; exec @ARGV' ";
  const char* build = "./marigold texts build new.po -o db/textdb";
  expect_runs(stop + "DEFAULT", {{build, "", "db/textdb: Interrupted system call\n", 2}});
  EXPECT_EQ(records_of("db/textdb"), kGreeting);
  expect_runs(stop + "IGNORE", {{build}});
  EXPECT_EQ(records_of("db/textdb"), (Texts{{"GREET\0"s, "new\0"s}}));
  EXPECT_STREQ(reader.fetch("GREET"), "Gr\xFC\xDF Gott %s");
  EXPECT_EQ(run_shell("ls -A db; stat -c %a db/textdb.pag").out, kBoth + "400\n");
}

TEST_F(TextsTest, DamageIsReportedWithTheFile) {
  expect({{"build good.po -o textdb"}});
  const std::string whole = read_file("textdb.pag");
  for (const std::size_t length :
       std::initializer_list<std::size_t>{0, 1, 100, 4096, whole.size() / 2}) {
    write_file("textdb.pag", whole.substr(0, length));
    const Finished run = run_shell("./marigold texts dump textdb");
    EXPECT_EQ(run.status, 2) << length;
    EXPECT_TRUE(run.err.starts_with("textdb.pag: ")) << run.err;
  }
}

TEST_F(TextsTest, WhatABuildLeavesOutOrWarnsOfIsSaid) {
  const std::string x251(251, 'x');
  write_file("in.po", kHeader + "#, fuzzy\n" + entry("F", "f") + entry("U", "") + "#. empty\n" +
                          entry("E", "") + entry("L", x251));
  const std::string warned = "in.po:13: \"L\": the text has 251 bytes, more than 250\nin.po: ";
  Texts texts = {{"E\0"s, "\0"s}, {"L\0"s, x251 + '\0'}};
  expect({{"build in.po -o textdb", "", warned + "2 texts left out: 1 fuzzy, 1 not translated\n"}});
  EXPECT_EQ(records_of("textdb"), texts);
  expect({{"build --use-fuzzy in.po -o textdb", "",
           warned + "1 text left out: 0 fuzzy, 1 not translated\n"}});
  texts["F\0"s] = "f\0"s;
  EXPECT_EQ(records_of("textdb"), texts);
}

TEST_F(TextsTest, HostileTextsComeBackByteForByte) {
  std::mt19937 random(7);
  const auto bytes = [&random](std::size_t length) {
    std::string text(length, '\0');
    for (char& byte : text)
      byte = static_cast<char>(random() % 255 + 1);
    std::ranges::replace(text, '\4', 'x');  // PO cannot hold it
    return text + '\0';
  };
  Texts records;
  for (int i = 0; i < 10000; ++i)
    records[bytes(1 + random() % 12)] = bytes(i % 1000 == 0 ? 20000 : random() % 60);
  write_textdb("db/textdb", {records.begin(), records.end()}, "");
  expect({{"dump db/textdb -o one.po"}, {"build one.po -o again/textdb 2>/dev/null"}});
  EXPECT_EQ(records_of("again/textdb"), records);
  expect({{"dump again/textdb >two.po"}, {"build two.po -o third/textdb 2>/dev/null"}});
  EXPECT_EQ(read_file("two.po"), read_file("one.po"));
  EXPECT_EQ(read_file("third/textdb.pag"), read_file("again/textdb.pag"));
}

TEST_F(TextsTest, RecordsThatPoCannotHoldAreNamed) {
  // clang-format off
  write_textdb("textdb", {
      {"GOOD\0"s, "\x80\0"s}, {"NOZERO", "a\0"s},     {"OPEN\0"s, "a"},          {"\0"s, "a\0"s},
      {"IN\0SIDE\0"s, "a\0"s}, {"ZERO\0"s, "a\0b\0"s}, {"\xE4\xFF\0"s, "\4\0"s}, {"BYTE\0"s, "\x81\0"s}}, "");
  // clang-format on
  const Finished run = run_shell(
      "rm textdb.dir; (./marigold texts dump textdb --code-set 1252 || echo status $?) 2>messages; "
      "sort messages >&2; ls textdb.*");  // reading makes no new .dir
  EXPECT_EQ(
      run.err,
      "textdb: \"\": left out: the empty id is that of the header in a PO file\n"
      "textdb: \"<228><255>\": left out: a PO file cannot hold the byte 4\n"
      "textdb: \"BYTE\": left out: its bytes are not text in the code set 1252\n"
      "textdb: \"IN\\000SIDE\": left out: a PO file cannot hold the byte 0\n"
      "textdb: \"NOZERO\": left out: the key has no zero byte after it, so no reader finds it\n"
      "textdb: \"OPEN\": the text has no zero byte after it; written as if it had one\n"
      "textdb: \"ZERO\": left out: a PO file cannot hold the byte 0\n");
  EXPECT_EQ(run.out,
            "msgid \"\"\nmsgstr \"\"\n\"MIME-Version: 1.0\\n\"\n"
            "\"Content-Type: text/plain; charset=UTF-8\\n\"\n"
            "\"Content-Transfer-Encoding: 8bit\\n\"\n\n"
            "msgid \"GOOD\"\nmsgstr \"€\"\n\nmsgid \"OPEN\"\nmsgstr \"a\"\nstatus 1\ntextdb.pag\n");
}

TEST_F(TextsTest, CheckFindsReportsAndExits) {
  write_file("bad.po", kHeader + entry("GREET", "Hi %d"));
  write_file("open.po", kHeader + entry("GREET", ""));
  write_file("other.po", kHeader + entry("GREET", "Servus %s"));
  const std::string finding =
      "bad.po:5: GREET: directive 1 is \"%d\", the reference has \"%s\" (good.po:5)\n";
  const std::string json =
      "{\"file\":\"bad.po\",\"line\":5,\"rule\":\"arguments\",\"id\":\"GREET\",\"message\":\"GREET: "
      "directive 1 is \\\"%d\\\", the reference has \\\"%s\\\" (good.po:5)\"}\n";
  const std::string one = "marigold: 1 finding\n";
  expect({{"check good.po bad.po other.po", finding, one, 1},
          {"check --json good.po bad.po", json, one, 1},
          {"check open.po", "open.po:5: \"GREET\" has no text\n", one, 1},
          {"check good.po other.po"}});
}

TEST_F(TextsTest, ControlCharactersAreVisibleOnATerminal) {
  write_file("hostile\x1B[2J.po", kHeader + "# \x1B[7m\n" + entry("A", "\xC2\x9BJ"));
  setenv("LC_ALL", "C.UTF-8", 1);
  const auto on_terminal = [](const std::string& words) {
    return run_shell("script -qec './marigold texts " + words +
                     " hostile*.po' /dev/null </dev/null | tr -d '\\r'")
        .out;
  };
  EXPECT_EQ(on_terminal("check good.po 2>/dev/null"),
            "hostile\\x1B[2J.po:1: \"GREET\" is missing (good.po:5)\n"
            "hostile\\x1B[2J.po:6: \"A\" is not in the reference (good.po)\n");
  const std::string shown = on_terminal("template");
  EXPECT_NE(shown.find("#. \\x1B[7m\n#. Text: \"\\xC2\\x9BJ\"\n"), std::string::npos) << shown;
  EXPECT_NE(run_shell("./marigold texts template hostile*.po").out.find("\x1B[7m\n"),
            std::string::npos);
}

}  // namespace
}  // namespace marigold::inner::test
