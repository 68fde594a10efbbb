// SPDX-License-Identifier: GPL-3.0-or-later
// marigold lists print as operators run it.

#include <cstdlib>
#include <filesystem>

#include "tests/print/command_support.h"

namespace marigold::inner::test {

struct ListsPrintTest : testing::Test {
  ListsPrintTest() {
    place_program(MARIGOLD, "marigold");
    write_file("l.list",
               "list L\n  PL 6 EZ 1 LZ 6 ES 1 CPI 10 ABRTXT 'stopped'\n"
               "header HEADER\nb |Kärnten {page #}\n"
               "footer FOOTER\n12|{@UEBERTRAG,1,##0,00}\n"
               "body LINE\n|{.NAME     } {.SUM ##0,00 total 1}\n?NOTE|{NOTE}\n"
               "body OTHER\n|{.TEL[2]}{.SUM}.\n"
               "body END\n|{WHO}\n");
    write_file("r.csv", "NAME,SUM,NOTE,TEL[2],BLOCK\nÖtzi,1.5,,,\nAnna,2,seen,,\n,007,,x,OTHER\n");
    expect({{"compile l.list -o .", "", ""}});
  }
  static void expect(std::initializer_list<Finished> runs) {
    expect_runs("./marigold lists", runs);
  }

  WorkDirectory directory;
};

const std::string kPages =
    "Kärnten 1\nÖtzi           1,50\nAnna           2,00\nseen\nx007.\n  3,50\n\f"
    "Kärnten 2\nme\n\n\n\n  3,50\n\f";

TEST_F(ListsPrintTest, RecordsAndVariablesFillThePages) {
  expect({{"print L -d . --records r.csv --set WHO=me", kPages},
          {"print L -d . --records r.csv --text WHO=me --to file out", "", ""},
          {"print L -d . --set WHO=1,50", "Kärnten 1\n\f", "Variable \"NAME\" nicht gesetzt!\n", 2},
          {"print L -d . --header '' --footer '' --line END --text WHO=1,50", "1,50\n1,50\n\f"},
          {"print L -d . --header '' --footer '' --line END --set WHO=01067", "01067\n01067\n\f"},
          {"print L -d . --header '' --footer '' --line END --set WHO=-0,50", "-0,50\n-0,50\n\f"}});
  EXPECT_EQ(read_file("out"), kPages);
  expect({{"print L -d . --to file out", "", "Variable \"NAME\" nicht gesetzt!\nout: not written\n",
           2}});
  EXPECT_EQ(read_file("out"), kPages);
  expect({{"print L -d . --records r.csv --set WHO=me --to pdf out.pdf", "", ""}});
  const std::string pdf = read_file("out.pdf");
  EXPECT_TRUE(pdf.starts_with("%PDF-"));
  EXPECT_NE(pdf.find("/Count 2"), std::string::npos);
}

// Reports faults that neither the author of the list nor the reader of the paper would see.
TEST_F(ListsPrintTest, CellsStayAsTheyAreAndWhatHasNoRoomIsTold) {
  write_file("n.list",
             "list N\n  PL 3\nbody LINE\n|{A}|{A ##0,00}|{.A}|{.A ##0,00}|\n"
             "body WIDE\n|{A 40}{A 40}x\n");
  expect({{"compile n.list -o .", "", ""}});
  write_file("n.csv", "A\n1234567890123456789.5\n12.50\n\"\"\n");
  write_file("wide.csv", "A,BLOCK\n1e5,LINE\n007,LINE\n5,WIDE\n6,WIDE\n");
  expect({{"print N -d . --records n.csv", "1234567890123456789.5|\n\f",
           "Variable \"A\" Text / Numerisch MischMasch!\nn.csv:2: list N ends with this record\n",
           2}});
  write_file("n.csv", "A\n1234567890123456\n12.50\n\"\"\n1e5\n");
  expect({{"print N -d . --records n.csv",
           "1234567890123456|******|1234567890123456|******|\n12.50| 12,50|12.50| 12,50|\n"
           "|      ||      |\n\f1e5|******|1e5|******|\n\f",
           "n.csv:2: warning: list N, page 1, line 1, column 18: A: ##0,00 has no room for "
           "1234567890123456\nn.csv:2: warning: list N, page 1, line 1, column 42: A: ##0,00 has "
           "no room for 1234567890123456\nn.csv:5: warning: list N, page 2, line 1, column 5: A: "
           "##0,00 has no room for 100000\nn.csv:5: warning: list N, page 2, line 1, column 16: A: "
           "##0,00 has no room for 100000\n",
           1},
          {"print N -d . --records wide.csv --to pdf out.pdf", "",
           "wide.csv:2: warning: list N, page 1, line 1, column 5: A: ##0,00 has no room for "
           "100000\nwide.csv:2: warning: list N, page 1, line 1, column 16: A: ##0,00 has no room "
           "for 100000\nwarning: list N, page 1, line 3, column 81: 1 character beyond the right "
           "edge of the page\nwarning: list N, page 2, line 1, column 81: 1 character beyond the "
           "right edge of the page\n",
           1}});
}

TEST_F(ListsPrintTest, ThePrinterGetsItsControlStrings) {
  place_child("dr", [](const std::string& name) {
    write_file("name", name + "\n");
    std::filesystem::remove("printed");
    keep_input("printed");
  });
  write_file("DEFAULT.DAT",
             "pitch_12 = <12>\npitch_10 = <10>\nbold_on = <b>\nbold_off = </b>\nx\n");
  const std::string warning = "./DEFAULT.DAT:5: neither a comment (#) nor KEY = VALUE\n";
  search_here();
  expect({{"print L -d . --footer '' --line END --set WHO=me --to printer laser", "", warning}});
  EXPECT_EQ(read_file("name"), "laser\n");
  setenv("PRINT_DIRECTORY", ".", 1);
  expect({{"print L --footer '' --line END --set WHO=me --to printer laser", "", warning}});
  unsetenv("PRINT_DIRECTORY");
  EXPECT_EQ(read_file("printed"), "<10><b>K\xe4rnten 1\r\n</b>me\r\nme\r\n\r\n\r\n\r\n");
  place_child("dr", [](const std::string&) { std::_Exit(3); });
  expect({{"print L -d . --line END --set WHO=me --to printer laser", "",
           warning + "dr laser: the print command ended with status 3\n", 2}});
  std::filesystem::remove("dr");
  std::filesystem::remove("dr.cmd");
  expect({{"print L -d . --line END --set WHO=me --to printer laser", "",
           warning + "dr laser: No such file or directory\n", 2}});
  std::filesystem::remove("DEFAULT.DAT");
  std::filesystem::create_directory("DEFAULT.DAT");
  expect({{"print L -d .", "", "./DEFAULT.DAT: Is a directory\n", 2}});
}

TEST_F(ListsPrintTest, FaultsAreTold) {
  write_file("bad.csv", "NAME,SUM\nAnna,1\nonly one\n\xe4,2\nEva,3\n");
  write_file("twice.csv", "NAME,NAME\n");
  write_file("long.csv", "NAME,SUM\na,1\n" + std::string((std::size_t{16} << 20) + 1, 'x'));
  expect({{"print L -d . --records bad.csv --set WHO=me --header '' --footer ''",
           "Anna           1,00\nEva            3,00\nme\n\f",
           "bad.csv:3: 1 value for 2 columns\nbad.csv:4: column 1: is not valid UTF-8\n", 1},
          {"print L -d . --records twice.csv --set WHO=me", "Kärnten 1\nme\n\n\n\n  0,00\n\f",
           "twice.csv:1: the column NAME occurs twice\n", 1},
          {"print L -d . --records long.csv --header '' --footer '' --to file out", "",
           "long.csv:3: the line is longer than 16777216 bytes\nout: not written\n", 2},
          {"print NONE -d .", "", "LP1:NONE:Liste nicht gefunden!\n", 2},
          {"print L -d . --records none.csv", "", "none.csv: No such file or directory\n", 2},
          {"print L -d . --line L1 --end E1 --header H1", "",
           "list L: --header H1: the list has no such block\n"
           "list L: --line L1: the list has no such block\n"
           "list L: --end E1: the list has no such block\n",
           2},
          {"print L -d . --line '' --end ''", "",
           "list L: nothing to print: no records, and no block START, LINE or END\n", 2},
          {"print L -d . --printer laser", "", "--printer laser: goes with --to screen\n", 2},
          {"print L -d . --page-length 0", "", "LP1:L:the page has no lines\n", 2},
          {"print L -d . --text WHO", "", "--text WHO: is not NAME=VALUE\n", 2},
          {"print L -d . --to paper", "", "--to paper: neither printer, screen, file nor pdf\n", 2},
          {"print L -d . --to printer", "", "--to printer: the printer's name is missing\n", 2},
          {"print L -d . --to screen", "", "--to screen: standard output is not a terminal\n", 2},
          {"print L -d . --to file none/out", "", "none/out: No such file or directory\n", 2}});
}

}  // namespace marigold::inner::test
