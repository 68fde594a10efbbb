// SPDX-License-Identifier: GPL-3.0-or-later
// marigold lists as authors run it.

#include <new>

#include "tests/support/support.h"
#include "tools/lists/load.h"

namespace marigold::inner::test {

const std::string kHead = "  PL 72 EZ 1 LZ 72 ES 1 CPI 10\n";
const std::string kOne = "list ONE\n" + kHead + "\nbody B\n|one\n";
const std::string kTwo = "list TWO\n" + kHead + "\nbody B\n|two {page ##0}\n\nheader A\n|t\n";

struct ListsToolTest : testing::Test {
  ListsToolTest() {
    unsetenv("DEFINITION_DIRECTORY");
    place_program(MARIGOLD, "marigold");
    write_file("one.list", kOne);
    write_file("two.list", kTwo);
    write_file("bad.list", "list BAD PL x\nbody B\n11|{foo}\n");
  }
  static void expect(std::initializer_list<Finished> runs) {
    expect_runs("./marigold lists", runs);
  }

  WorkDirectory directory;
};

TEST_F(ListsToolTest, CompilesReplacesKeepsAndShows) {
  const std::string again = "list ONE\n" + kHead + "\nbody C\n|again\n";
  write_file("again.list", again);
  expect({{"compile one.list two.list -o a/print -v", "",
           "a/print: 2 lists, 2 of them compiled now\n"},
          {"show a/print", kOne + "\n" + kTwo},
          {"show a/print TWO", kTwo},
          {"compile again.list -o a/print -v", "", "a/print: 2 lists, 1 of them compiled now\n"},
          {"show a/print", again + "\n" + kTwo},
          {"compile --own one.list -o a/print", "", ""},
          {"show --own a/print", kOne},
          {"show a/print ONE", again},
          {"show --json a/print ONE",
           "{\"LISTE\":\"ONE\",\"PL\":72,\"EZ\":1,\"LZ\":72,\"ES\":1,\"CPI\":10,\"NAME\":\"\","
           "\"ABRTXT\":\"\",\"blocks\":[{\"BLOCK\":\"C\",\"SAME\":\"N\",\"REP\":0,\"ZEIL\":0,"
           "\"BLEN\":1,\"source\":[\"body C\",\"|again\"]}]}\n"}});
}

TEST_F(ListsToolTest, ErrorsChangeNothing) {
  const std::string messages =
      "bad.list:1:13: expected PL, found \"x\"\n"
      "bad.list:3:1: warning: printers have the pitches 10, 12 and 17\n"
      "bad.list:3:5: \"foo\" is no word of this language; a name in small letters needs single "
      "quotes\n";
  write_file("twice.list", "list X\nlist ONE\n");
  expect({{"compile one.list -o print", "", ""},
          {"compile two.list bad.list -o print", "", messages, 1},
          {"compile two.list one.list twice.list -o print", "",
           "twice.list:2:1: this list is in one.list:1 already\n", 1},
          {"compile two.list missing.list -o print", "",
           "missing.list: No such file or directory\n", 2},
          {"compile two.list", "",
           "marigold: --output is required\nRun with --help for the usage.\n", 2},
          {"compile two.list -o one.list/print", "", "one.list/print: Not a directory\n", 2},
          {"show print", kOne},
          {"show print NONE", "", "print/LISTEN: has no list NONE\n", 2},
          {"show --own print", "", "print/ILISTEN: No such file or directory\n", 2},
          {"check one.list bad.list", messages + "one.list: 1 list, 1 block\n", "", 1},
          {"check two.list >/dev/full", "", "standard output: No space left on device\n", 2}});
  EXPECT_NE(run_shell("./marigold lists --help").out.find("compile"), std::string::npos);
}

TEST_F(ListsToolTest, DamagedBlocksAreNotKept) {
  expect({{"compile one.list two.list -o print", "", ""},
          // A store of another directory: it has the first block and ends after it.
          {"compile one.list -o other", "", ""}});
  write_file("print/DRUCK.BIN", read_file("other/DRUCK.BIN"));
  const std::string reason = "its offset lies beyond the end of the block store";
  expect({{"show print", kOne + "\nlist TWO\n" + kHead,
           "print/LISTEN: list TWO, block B: " + reason +
               "\nprint/LISTEN: list TWO, block A: " + reason + "\n",
           1},
          {"compile one.list -o print", "",
           "print: list TWO, block B: " + reason + "; compile this list, too\n" +
               "print: list TWO, block A: " + reason + "; compile this list, too\n",
           2},
          {"compile two.list -o print", "", ""},
          {"show print", kOne + "\n" + kTwo}});
}

// The message names the file, because its owner can act only on that.
TEST_F(ListsToolTest, MemoryThatRunsOutIsReportedWithTheFile) {
  load_sources({.paths = {"two.list", "one.list"}, .definitions = ""});
  EXPECT_EQ(errors_of([] { EXPECT_EQ(report_failure(std::bad_alloc()), kExitUnusable); }),
            "one.list: out of memory\n");
}

TEST_F(ListsToolTest, FieldsAreComparedWithADefinitionSet) {
  write_file("fields.list", "list F\nbody B\n|{.NAME}{.PHONE[2]}{.NAEM}\n");
  const std::string set = SAMPLE_DATA "/definitions/FILESHOP.DES";
  const std::string warning =
      "fields.list:3:22: warning: no file of the definition set has a field of this name\n";
  expect(
      {{"check fields.list", "fields.list: 1 list, 1 block\n"},
       {"check --definitions " + set + " fields.list", warning + "fields.list: 1 list, 1 block\n"},
       {"compile --definitions " + set + " fields.list -o print", "", warning},
       {"check --definitions NONE fields.list", "",
        "./definitions/FILENONE.DES: No such file or directory\n", 2}});
  // The sample lists fit the sample data.
  const std::string lists = SAMPLE_LISTS;
  const Finished samples = run_shell("./marigold lists check --definitions " + set + " " + lists +
                                     "/customers.list " + lists + "/invoice.list");
  EXPECT_EQ(samples.status, 0);
  EXPECT_EQ(samples.out.find("warning"), std::string::npos) << samples.out;
}

}  // namespace marigold::inner::test
