// SPDX-License-Identifier: GPL-3.0-or-later
// marigold data dump and load as operators run them.

#include <cfloat>
#include <cmath>
#include <fstream>
#include <random>

#include "runtime/isam/common/isam.h"
#include "tests/tools/data_support.h"

namespace marigold::inner::test {
namespace {

using DataLoadTest = DataToolTest;

const std::string kLoaded = "./data/1/BOX: ";
const std::string kThree =
    "3,b,,K,2.5,010190,0930,7\n5,a,zz,,-0.0,311299,0000,-32768\n9,a,,K,1e+300,-5,2359,1\n";

TEST_F(DataLoadTest, RecordsGoInAndComeOutInTheOrderOfAKey) {
  write_file("in.csv", "\xEF\xBB\xBFSIZE,NUMBER,\"NAME[1]\"\r\n7,+3,b\r\n\r\n-2,0009,\"\"\n");
  write_file("in.jsonl",
             "{\"SIZE\":-2,\"NUMBER\":9,\"NAME\":[\"a\",\"\\u00e4\\n\\\"\"],\"RATE\":\"inf\"}\n\n"
             "{\"NUMBER\":1,\"RATE\":4e-3}\n");
  expect({{"load BOX in.csv", kLoaded + "2 records loaded\n"},
          {"dump BOX", kBoxHeader + "3,b,,K,2.5,010190,0930,7\n9,,,K,2.5,010190,0930,-2\n"},
          {"load BOX --replace in.jsonl", kLoaded + "2 records loaded, 1 of them replaced\n"},
          {"dump BOX --key 2 -o out.csv"},
          {"dump BOX --json --from 2 --to 8",
           "{\"NUMBER\":3,\"NAME\":[\"b\",\"\"],\"KIND\":\"K\",\"RATE\":2.5,\"DAY\":10190,"
           "\"AT\":930,\"SIZE\":7}\n"}});
  const std::string records =
      "9,a,\"ä\n\"\"\",K,inf,010190,0930,-2\n3,b,,K,2.5,010190,0930,7\n1,x,,K,0.004,010190,0930,-1\n";
  EXPECT_EQ(read_file("out.csv"), kBoxHeader + records);
  write_file("three.csv", kBoxHeader + kThree);
  const std::string from = "dump three --path three ";
  expect({{"load BOX --path three --csv <three.csv", "three: 3 records loaded\n"},
          {"dump BOX --path three.idx --key 2 --from a,0 --to a",
           kBoxHeader + "9,a,,K,1e+300,-5,2359,1\n"},
          {"dump BOX --path three --key 2 --from '\"\"' --to 'a,-1'",
           kBoxHeader + "5,a,zz,,-0.0,311299,0000,-32768\n"},
          {"dump BOX --path three --from 10", kBoxHeader},
          {"dump BOX --path three --key 3", "", "BOX: there is no key 3\n", 2},
          {"dump BOX --path three --from 1,2", "", "2 values for 1 part of the key\n", 2},
          {"dump BOX --path three --to x", "", "NUMBER: \"x\" is no whole number\n", 2}});
}

TEST_F(DataLoadTest, EveryRejectedLineIsNamedAndNothingIsLoaded) {
  write_file("good.csv", kBoxHeader + kThree);
  write_file("bad.csv",
             "NUMBER,NAME[1],RATE,SIZE,KIND\n"
             "10,a,1,1,x\n"
             "11,a,1,1\n"
             "12,a,1,1,x,\n"
             "1x,a,1,1,x\n"
             ",a,1,1,x\n"
             "2147483648,a,1,1,x\n"
             "99999999999999999999,a,1,1,x\n"
             "13,a,1e999,1,x\n"
             "13,a,0x1,1,x\n"
             "13,a,+-9,1,x\n"
             "13,a,1,-32769,x\n"
             "13,abcde,1,1,x\n"
             "13,\"a\nb\",1,1,xy\n"
             "13,äöüÄ,nan,1,\n"
             "14,\xE4,1,1,x\n"
             "15,5 €,1,1,x\n"
             "16,a\"b,1,1,x\n"
             "16,\"a\"b,1,1,x\n"
             "16,a\rb,1,1,x\n"s +
                 "17,a\0b,1,1,x\n"s +
                 "10,b,2,2,y\n"
                 "3,b,2,2,y\n"
                 "18,\"a,1,1,x\n\n19,b\n");
  const auto lines = [](const std::string& file, std::initializer_list<const char*> faults) {
    std::string text;
    for (const char* fault : faults)
      text.append(file).append(":").append(fault).append("\n");
    return text;
  };
  const std::string faults =
      lines("bad.csv", {"3: 4 values for 5 columns",
                        "4: 6 values for 5 columns",
                        "5: NUMBER: \"1x\" is no whole number",
                        "6: NUMBER: \"\" is no whole number",
                        "7: NUMBER: 2147483648 is not between -2147483648 and 2147483647",
                        "8: NUMBER: \"99999999999999999999\" is out of range",
                        "9: RATE: \"1e999\" is out of range",
                        "10: RATE: \"0x1\" is no number",
                        "11: RATE: \"+-9\" is no number",
                        "12: SIZE: -32769 is not between -32768 and 32767",
                        "13: NAME[1]: \"abcde\" is longer than 4 bytes",
                        "14: KIND: \"xy\" is longer than 1 byte",
                        "17: NAME[1]: is not valid UTF-8",
                        "18: NAME[1]: the code set 8859 lacks \"€\" (U+20AC)",
                        "19: a double quote out of place at byte 5",
                        "20: a double quote out of place at byte 7",
                        "21: a carriage return that is not in quotes",
                        "22: NAME[1]: has a zero byte in it",
                        "23: an earlier line has NUMBER=10",
                        "24: the file has NUMBER=3",
                        "25: the double quote that begins a cell is not closed"});
  const std::string rejected = "marigold: 21 lines rejected";
  expect({{"load BOX good.csv", kLoaded + "3 records loaded\n"},
          {"load BOX bad.csv", "", faults + rejected + ", nothing loaded\n", 1},
          {"dump BOX", kBoxHeader + kThree},
          {"load BOX bad.csv --keep-going", kLoaded + "2 records loaded\n",
           faults + rejected + "\n", 1},
          {"dump BOX --from 10", kBoxHeader + "10,a,,x,1,010190,0930,1\n"
                                              "13,äöüÄ,,,nan,010190,0930,1\n"}});
  write_file(
      "bad.json",
      "{\"NUMBER\":20,\"NAME\":[\"a\"]}\n{\"NUMBER\":20,\"NAME\":[\"a\",\"b\",\"c\"]}\n"
      "{\"NUMBER\":20,\"NAME\":\"a\"}\n{\"NUMBER\":[20]}\n{\"NUMBER\":20.5}\n"
      "{\"NUMBER\":18446744073709551615}\n{\"NAME\":[\"a\",\"b\"]}\n{\"NUMBER\":20,\"X\":1}\n"
      "{\"NUMBER\":20,\"NUMBER\":21}\n{\"NUMBER\":null}\n{\"NUMBER\":{\"A\":1}}\n[20]\n20\n"
      "{\"NUMBER\":20,\"KIND\":7}\n{\"NUMBER\":20} x\n{\"NUMBER\":20,\"KIND\":\"\\u0000\"}\n"
      "{\"NUMBER\":20,\"RATE\":true}\n{\"NUMBER\":20}\n{\"NUMBER\":2");
  expect(
      {{"load BOX bad.json", "",
        lines(
            "bad.json",
            {"1: NAME: 1 element, 2 expected", "2: NAME: there are more than 2 elements",
             "3: NAME: an array of 2 elements is expected",
             "4: NUMBER: an array where a value is expected",
             "5: NUMBER: 20.5 is no whole number in range",
             "6: NUMBER: 18446744073709551616 is no whole number in range",
             "7: the field NUMBER of the primary key is missing", "8: there is no field \"X\"",
             "9: the field NUMBER occurs twice", "10: NUMBER: null where a value is expected",
             "11: NUMBER: an object where a value is expected",
             "12: an array where an object is expected", "13: a value where an object is expected",
             "14: KIND: a number where a text is expected",
             ("15: column 15: syntax error while parsing value - invalid literal; last read: "
              "'20} x'; expected end of input"),
             "16: KIND: has a zero byte in it", "17: RATE: true or false where a value is expected",
             ("19: column 12: syntax error while parsing object - unexpected end of input; "
              "expected '}'")}) +
            "marigold: 18 lines rejected, nothing loaded\n",
        1}});
}

// Whole numbers with a fraction of zeros, and cells without a number.
TEST_F(DataLoadTest, WhatSpreadsheetsWriteLoads) {
  write_file("s.csv",
             "NUMBER,RATE,SIZE,DAY,AT,KIND\n1.0,,22.0,,0930.00,x\n2,+7,,010290,,\n"
             "3,1,1.,1,1,x\n4,1,.0,1,1,x\n5,1,1.5,1,1,x\n6,1,+-9,1,1,x\n7,1,1.0e0,1,1,x\n");
  write_file("s.json",
             "{\"NUMBER\":22.0,\"SIZE\":1e2,\"DAY\":-0.0}\n{\"NUMBER\":2147483648.0}\n"
             "{\"NUMBER\":23,\"KIND\":1.0}\n{\"NUMBER\":24,\"SIZE\":40000.0}\n");
  const std::string two = kBoxHeader + "1,x,,x,2.5,010190,0930,22\n2,x,,,7,010290,0930,-1\n";
  expect({{"load BOX s.csv --keep-going", kLoaded + "2 records loaded\n",
           "s.csv:4: SIZE: \"1.\" is no whole number\ns.csv:5: SIZE: \".0\" is no whole number\n"
           "s.csv:6: SIZE: \"1.5\" is no whole number\ns.csv:7: SIZE: \"+-9\" is no whole number\n"
           "s.csv:8: SIZE: \"1.0e0\" is no whole number\nmarigold: 5 lines rejected\n",
           1},
          {"dump BOX", two},
          {"load BOX s.json --keep-going", kLoaded + "1 record loaded\n",
           "s.json:2: NUMBER: 2147483648 is not between -2147483648 and 2147483647\n"
           "s.json:3: KIND: a number where a text is expected\n"
           "s.json:4: SIZE: 40000 is not between -32768 and 32767\nmarigold: 3 lines rejected\n",
           1},
          {"dump BOX", two + "22,x,,K,2.5,000000,0930,100\n"}});
}

TEST_F(DataLoadTest, ALineWithoutEndIsRefused) {
  // Each input with the most bytes that its last line may have, or one more.
  const std::string bytes(std::size_t{16} << 20, 'x');
  const std::string json = "{\"NUMBER\":1,\"KIND\":\"";
  const std::string too_long = "the line is longer than 16777216 bytes\n";
  write_file("fits.csv", "NUMBER,NAME[1]\n1," + bytes.substr(2) + "\n2,a\n");
  write_file("line.csv", "NUMBER,NAME[1]\n1," + bytes.substr(1));
  write_file("row.csv", "NUMBER,NAME[1]\n2,a\n1,\"a\n" + bytes);
  write_file("fits.json", "\n" + json + bytes.substr(json.size() + 2) + "\"}");
  write_file("line.json", "\n" + json + bytes.substr(json.size() + 1) + "\"}");
  const std::string shown = "\"" + std::string(40, 'x') + "...\" is longer than ";
  const std::string rejected = "marigold: 1 line rejected, nothing loaded\n";
  expect({{"load BOX fits.csv", "", "fits.csv:2: NAME[1]: " + shown + "4 bytes\n" + rejected, 1},
          {"load BOX line.csv", "", "line.csv:2: " + too_long, 2},
          {"load BOX --keep-going row.csv", "", "row.csv:3: " + too_long, 2},
          {"load BOX fits.json", "", "fits.json:2: KIND: " + shown + "1 byte\n" + rejected, 1},
          {"load BOX line.json", "", "line.json:2: " + too_long, 2},
          {"load BOX <line.csv", "", "standard input:2: " + too_long, 2}});
  EXPECT_FALSE(std::filesystem::exists("data/1/BOX.dat"));
}

TEST_F(DataLoadTest, UnusableInputLeavesEverythingAsItWas) {
  write_file("good.csv", kBoxHeader + kThree);
  write_file("column.csv", "NUMBER,NAM\n");
  write_file("element.csv", "NUMBER,NAME\n");
  write_file("twice.csv", "NUMBER,NUMBER\n");
  write_file("key.csv", "NAME[1]\n");
  write_file("quote.csv", "NUMB\"ER\n");
  write_file("empty.csv", "\n");
  const std::string none = "\" is not known\n";
  expect(
      {{"load BOX column.csv", "", "column.csv:1: there is no field \"NAM\"\n", 2},
       {"load BOX element.csv", "", "element.csv:1: there is no field \"NAME\"\n", 2},
       {"load BOX twice.csv", "", "twice.csv:1: the column NUMBER occurs twice\n", 2},
       {"load BOX key.csv", "", "key.csv:1: the column NUMBER of the primary key is missing\n", 2},
       {"load BOX quote.csv", "", "quote.csv:1: a double quote out of place at byte 5\n", 2},
       {"load BOX empty.csv", "", "empty.csv:1: there is no header with the names of the columns\n",
        2},
       {"load BOX missing.csv", "", "missing.csv: No such file or directory\n", 2},
       {"load BOX definitions", "", "definitions: Is a directory\n", 2},
       {"load BOX good.csv --code-set x", "", "marigold: the code set \"x" + none, 2},
       {"load BOX --path no/where good.csv", "", "no/where: No such file or directory\n", 2},
       {"dump BOX", "", "./data/1/BOX: No such file or directory\n", 2},
       {"dump SLOTS", "", "./data/2/SLOTS: No such file or directory\n", 2},
       {"load BOX --csv --json", "",
        "marigold: --csv excludes --json\nRun with --help for the usage.\n", 2}});
  EXPECT_EQ(run_shell("find data -type f").out, "");
}

TEST_F(DataLoadTest, RandomFilesByNumber) {
  write_file("in.csv", "SNR,T\n3,c\n1,a\n0,d\n");
  write_file("more.csv", "T\nx\n,\n");
  write_file("again.csv", "SNR,T\n3,C\n2,b\n2,b\n4,D\n-7,z\n");
  expect({{"load SLOTS in.csv", "./data/2/SLOTS: 3 records loaded\n"},
          {"dump SLOTS", "SNR,T\n1,a\n3,c\n4,d\n"},
          {"load SLOTS more.csv", "",
           "more.csv:3: 2 values for 1 column\nmarigold: 1 line rejected, nothing loaded\n", 1},
          {"load SLOTS again.csv", "",
           "again.csv:2: the file has SNR=3\nagain.csv:4: an earlier line has SNR=2\n"
           "again.csv:5: the file has SNR=4\nmarigold: 3 lines rejected, nothing loaded\n",
           1},
          {"load SLOTS --replace --keep-going again.csv",
           "./data/2/SLOTS: 4 records loaded, 2 of them replaced\n",
           "again.csv:4: an earlier line has SNR=2\nmarigold: 1 line rejected\n", 1},
          {"dump SLOTS --json --from 2 --to 4",
           "{\"SNR\":2,\"T\":\"b\"}\n{\"SNR\":3,\"T\":\"C\"}\n{\"SNR\":4,\"T\":\"D\"}\n"},
          {"check SLOTS", "./data/2/SLOTS: 5 records, no damage\n"}});
  EXPECT_EQ(read_file("data/2/SLOTS").substr(32), "\0\0\0\5z\0\0\0"s);
  std::ofstream("data/2/SLOTS", std::ios::binary | std::ios::in).seekp(15) << "\3"
                                                                           << "\0\0\0\x11"s;
  std::ofstream("data/2/SLOTS", std::ios::app | std::ios::binary) << "xyz";
  expect({{"check SLOTS",
           "./data/2/SLOTS: record 2: its deletion mark is 3\n"
           "./data/2/SLOTS: record 3: its SNR is 17\n"
           "./data/2/SLOTS: it ends with 3 bytes of a record of 8\n",
           "", 1},
          {"dump SLOTS", "SNR,T\n1,a\n4,D\n5,z\n"},
          {"rebuild SLOTS", "", "./data/2/SLOTS: a random file has no indexes\n", 2}});
}

// ---- Contents of fields

constexpr int kBoxLength = 40;

// Opens BOX exclusively, as a program of another vendor.
int open_box() {
  return ISOPEN("data/1/BOX", kIsInputOutput | kIsExclusive);
}

std::string read_all(const std::string& base) {
  std::string all;
  std::string record(kBoxLength, '\0');
  const int file = ISOPEN(base.c_str(), kIsInput | kIsExclusive);
  for (int mode = kIsFirst; ISREAD(file, record.data(), mode) == 0; mode = kIsNext)
    all += record;
  ISCLOSE(file);
  return all;
}

TEST_F(DataLoadTest, HostileRecordsComeBackByteForByte) {
  expect({{"load BOX -", "", "-: No such file or directory\n", 2}});
  write_file("empty.csv", kBoxHeader);
  expect({{"load BOX empty.csv", "./data/1/BOX: 0 records loaded\n"}});
  std::mt19937_64 random(4);
  const double reals[] = {-0.0, DBL_MIN, DBL_MAX, DBL_TRUE_MIN, HUGE_VAL, -HUGE_VAL, 0.1, 1e15};
  const int file = open_box();
  for (std::int32_t number = 0; number < 4000; ++number) {
    std::string record(kBoxLength, '\0');
    for (char& byte : record)
      byte = static_cast<char>(random());
    isst_int4(number * 500009, record.data());
    for (const std::size_t text : {4, 8, 12}) {  // zeros only at the end
      const std::size_t end = std::min(record.find('\0', text), text + 4);
      std::fill(record.begin() + static_cast<std::ptrdiff_t>(end),
                record.begin() + static_cast<std::ptrdiff_t>(text + 4), '\0');
    }
    if (!(std::fabs(isld_double(&record[13])) <= DBL_MAX) || number % 9 == 0)
      isst_double(reals[random() % std::size(reals)], &record[13]);
    std::fill(record.begin() + 31, record.end(), '\0');
    if (number % 50 == 0) record.replace(4, 9, ",\"\r\n'\"\"\n,"), record[12] = '"';
    ASSERT_EQ(ISWRITE(file, record.data()), 0);
  }
  ISCLOSE(file);
  const std::string written = read_all("data/1/BOX");
  expect({{"dump BOX -o 1.csv"},
          {"dump BOX --json -o 1.json"},
          {"load BOX --path csv 1.csv", "csv: 4000 records loaded\n"},
          {"load BOX --path json 1.json", "json: 4000 records loaded\n"},
          {"load BOX --replace 1.csv", kLoaded + "4000 records loaded, 4000 of them replaced\n"},
          {"dump BOX -o 2.csv"},
          {"dump BOX --path json --json -o 2.json"}});
  for (const char* base : {"csv", "json", "data/1/BOX"})
    EXPECT_EQ(read_all(base), written) << base;
  EXPECT_EQ(read_file("2.csv"), read_file("1.csv"));
  EXPECT_EQ(read_file("2.json"), read_file("1.json"));
  // Other code sets: dump names texts that the code set lacks, and writes the others.
  const Finished run = run_shell("./marigold data dump BOX --code-set ASCII 2>&1 >some.csv");
  EXPECT_NE(run.out.find(": left out: NAME[1]: its bytes are not text in the code set ASCII\n"),
            std::string::npos);
  EXPECT_EQ(run.status, 1);
}

TEST_F(DataLoadTest, WhatADumpCannotHoldIsNamed) {
  write_file("good.csv", kBoxHeader + kThree);
  expect({{"load BOX good.csv", kLoaded + "3 records loaded\n"}});
  const int file = open_box();
  std::string record(kBoxLength, '\0');
  isst_int4(4, record.data());
  record[4] = 'a', record[6] = 'b';
  EXPECT_EQ(ISWRITE(file, record.data()), 0);
  isst_int4(6, record.data());
  record.back() = 1;  // holds a lock, and is no record
  EXPECT_EQ(ISWRITE(file, record.data()), 0);
  ISCLOSE(file);
  expect({{"dump BOX", kBoxHeader + kThree,
           "./data/1/BOX: NUMBER=4: left out: NAME[1]: there are bytes after the zero byte that "
           "ends the text\nmarigold: 1 record left out\n",
           1}});
  write_file("six.csv", "NUMBER\n6\n");
  expect({{"load BOX six.csv", kLoaded + "1 record loaded\n"}});
}

TEST_F(DataLoadTest, OthersWhoUseTheFileAreLeftInPeace) {
  write_file("good.csv", kBoxHeader + kThree);
  expect({{"load BOX good.csv", kLoaded + "3 records loaded\n"}});
  const std::string used = ": another process is using the file" + this_process() + "\n";
  int file = ISOPEN("data/1/BOX", kIsInputOutput | kIsManualLock);
  expect({{"load BOX good.csv --replace", "", "./data/1/BOX" + used, 2},
          {"rebuild BOX", "", "./data/1/BOX" + used, 2},
          {"recover BOX", "", "./data/1/BOX" + used, 2},
          {"compact BOX", "", "./data/1/BOX" + used, 2},
          {"check BOX --quick",
           "./data/1/BOX: no damage seen, quick look without records and indexes\n"},
          {"dump BOX", kBoxHeader + kThree},
          {"check BOX", kLoaded + "3 records, no damage\n"}});
  ISCLOSE(file);
  file = open_box();
  expect({{"dump BOX", "", "./data/1/BOX" + used, 2}, {"check BOX", "", "./data/1/BOX" + used, 2}});
  ISCLOSE(file);
}

}  // namespace
}  // namespace marigold::inner::test
