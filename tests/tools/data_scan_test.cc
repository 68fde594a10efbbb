// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data scan as authors run it.

#include "tests/support/support.h"

namespace marigold::inner::test {

const std::string kFile =
    "VERSION 1 PATH 0 LEN 4 TYPE ISAM BEGINFIELD FIELD F TYPE STRING 2 TIMES ";
const std::string kRest = " ENDFIELD\nBEGINKEY KEY 1 SEGMENT 1 IS F ENDKEY ENDFILE\n";

TEST(DataScanTest, FindsReportsAndExits) {
  const WorkDirectory directory;
  setenv("DEFINITION_DIRECTORY", "definitions", 1);
  place_program(MARIGOLD, "marigold");
  std::filesystem::create_directory("definitions");
  const std::string good = "BEGINFILE NAME GOOD " + kFile + "1 PREVAL NIL" + kRest;
  write_file("definitions/FILEGOOD.DES", good + "END.\n");
  write_file("FULL.DES", "\n\nBEGINFIL NAME FULL " + kFile + "2 PREVAL NIL,NIL" + kRest + "END.");
  write_file("definitions/FILEBAD.DES",
             "BEGINFIL NAME A VERSON 1\n" + good + "BEGINFIL NAME B VERSION '1\n\xE4" +
                 std::string(300, 'x') + "\nBEGINFIL NAME C " + kFile + "3 PREVAL NIL" + kRest);
  const std::string bad = "definitions/FILEBAD.DES:";
  const std::string summary = "definitions/FILEGOOD.DES: 1 file, 1 field, 1 key\n";
  const std::string syntax = bad + "1: scan: syntax error: expected VERSION, found \"VERSON\"\n";
  const std::string full =
      "FULL.DES:3: FULL: LEN leaves no byte after the fields for the deletion marker\n";
  expect_runs(
      "./marigold data scan",
      {{"GOOD", summary},
       {"./definitions/FILEGOOD.DES", "./" + summary},
       {"FULL.DES GOOD", full + "FULL.DES: 1 file, 1 field, 1 key\n" + summary, "", 1},
       {"GOOD BAD",
        summary + syntax + bad +
            "4: scan: string too long: expected at most 249 characters, found \"'1 \xE4" +
            std::string(36, 'x') + "...\"\n" + bad +
            "6: scan: record larger than defined: expected at most 4 bytes of fields, found \"6 with "
            "F\"\n" +
            bad + "8: seq: unexpected EOF: expected END., found the end of the set\n",
        "", 1},
       {"--json GOOD FULL.DES",
        "{\"file\":\"definitions/FILEGOOD.DES\",\"files\":1,\"fields\":1,\"keys\":1}\n"
        "{\"file\":\"FULL.DES\",\"line\":3,\"message\":\"FULL: LEN leaves no byte after the "
        "fields for the deletion marker\"}\n"
        "{\"file\":\"FULL.DES\",\"files\":1,\"fields\":1,\"keys\":1}\n",
        "", 1},
       {"GOOD MISSING definitions/", summary,
        "definitions/FILEMISSING.DES: No such file or directory\ndefinitions/: Is a directory\n",
        2},
       {"", "", "marigold: SET is required\nRun with --help for the usage.\n", 2},
       {"GOOD >/dev/full", "", "standard output: No space left on device\n", 2}});
  const Finished json = run_shell("./marigold data scan --json BAD | head -1");
  EXPECT_EQ(json.out,
            "{\"file\":\"definitions/FILEBAD.DES\",\"line\":1,\"message\":\"scan: syntax error: "
            "expected VERSION, found \\\"VERSON\\\"\",\"error\":7,\"expected\":\"VERSION\","
            "\"found\":\"VERSON\"}\n");
  // Well formed, but no program can open them.
  const std::string text = " PREVAL NIL ENDFIELD ";
  write_file(
      "USELESS.DES",
      "BEGINFILE NAME LONG VERSION 1 PATH 1 LEN 32768 TYPE ISAM BEGINFIELD FIELD A TYPE INT" +
          text + "BEGINKEY KEY 1 SEGMENT 1 IS A ENDKEY ENDFILE\n" +
          "BEGINFILE NAME FULL VERSION 1 PATH 1 LEN 4 TYPE RANDOM BEGINFIELD "
          "FIELD SNR TYPE LONGINT" +
          text + "ENDFILE END.");
  const std::string at = "USELESS.DES:";
  expect_runs("./marigold data scan",
              {{"USELESS.DES",
                at + "1: LONG: LEN is more than the 32767 bytes that a keyed file takes\n" + at +
                    "2: FULL: LEN leaves no byte after the fields for the deletion marker\n" +
                    "USELESS.DES: 2 files, 2 fields, 1 key\n",
                "", 1}});
  unsetenv("DEFINITION_DIRECTORY");
  expect_runs("./marigold data scan", {{"GOOD", "./" + summary}});
}

}  // namespace marigold::inner::test
