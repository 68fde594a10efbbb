// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/lists.h"

#include <fstream>

#include "runtime/data/definition/definition_set.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/record_file.h"
#include "runtime/print/engine/variables.h"
#include "tests/print/list_support.h"
#include "tests/support/process.h"

namespace marigold::inner::test {
namespace {

using enum BlockCode;

using ListTest = PrintTest;

const ListProperties kShortPage = {.page_length = 6, .last_line = 5};

TEST_F(ListTest, BlocksStandWhereTheyArePlaced) {
  const struct {
    BlockInstructions block;
    std::string line_by_line;  // of the page's six
    ListProperties page = kShortPage;
  } cases[] = {
      {{words("a"), words("b")}, "ab\n\n\n\n\n\n"},
      {{place(1, 3, 1, 4), words("x")}, "\n\n   x\n\n\n\n"},
      {{place(1, 1), words("a"), place(3, 2, 3, 1), words("b")}, "a\n\n b\n\n\n\n"},
      {{words("abc"), place(2, 0, 1, 6), words("d")}, "abc  d\n\n\n\n\n\n"},
      {{words("abc"), place(2, 0, 2, 0), words("d")}, "abcd\n\n\n\n\n\n"},
      {{words("a\5TTMMJJ\5\5PAGE,##\5"), place(2, 0, 1, 13), words("b")},
       "a21.11.26 1 b\n\n\n\n\n\n"},
      {{words("abc"), place(2, 0, 1, 2), words("B")}, "abc<<B\n\n\n\n\n\n"},
      // Lines count from the first one of the page; only lines with text have the margin.
      {{place(1, 2), words("x")},
       "\n\n  x\n\n\n\n",
       {.page_length = 6, .start_column = 3, .first_line = 2, .last_line = 5}},
      // Bold text does not move the column until bold is off.
      {{only(kBoldOn), words("ab"), only(kBoldOff), place(2, 0, 1, 5), words("c")},
       "[FETTEIN]ab[FETTAUS]  c\n\n\n\n\n\n"},
      {{only(kBoldOn), words("ab"), place(2, 0, 1, 3), words("c")}, "[FETTEIN]ab  c\n\n\n\n\n\n"},
      // In a pitch other than that of the columns, places are found from the line's start.
      {{place(1, 1, 1, 3), only(kPitch, 17), words("ab"), place(2, 0, 1, 5), words("c")},
       "  [16Z]ab<<[10Z]    [16Z]c\n\n\n\n\n\n"},
      {{only(kPitch, 12), only(kColumnPitch, 12), words("ab"), place(2, 0, 1, 4), words("c")},
       "[12Z]ab c\n\n\n\n\n\n"},
      {{only(kPitch, 12), only(kBoldOn), words("a"), only(kBoldOff), words("b")},
       "[FETTEIN][12Z]a[FETTAUS][12Z]b\n\n\n\n\n\n"},
      {{only(kPitch, 12), words("a")},
       "  [12Z]a\n\n\n\n\n\n",
       {.page_length = 6, .start_column = 3, .last_line = 5}},
  };
  for (const auto& [block, expected, page] : cases) {
    write_list(page, {{"B", block}});
    EXPECT_EQ(print({"B"}), expected + "====\n") << &block - &cases[0].block;
  }
  EXPECT_EQ(told, "");
}

TEST_F(ListTest, PagesAreEjectedBetweenHeadersAndFooters) {
  const TestBlock line = {"LINE", {words("line"), next_line()}};
  const TestBlock two = {"TWO",
                         {place(2, 0), words("1"), next_line(), words("2"), next_line()},
                         {.same_page = true, .length = 2}};
  const TestBlock head = {"HEAD", {place(1, 1), {.code = kPage}, words(" head")}};
  const TestBlock foot = {"FOOT", {place(1, 1), words("foot")}, {.footer_lines = 1}};
  const struct {
    const char* header;
    const char* footer;
    std::vector<std::string> blocks;
    std::string expected;
  } cases[] = {{"",
                "",
                {"LINE", "LINE", "LINE", "LINE", "LINE"},  // a full page, and no other
                "line\nline\nline\nline\nline\n\n====\n"},
               {"HEAD",
                "",
                {"LINE", "LINE", "LINE", "LINE", "LINE"},
                "1 head\nline\nline\nline\nline\n\n====\n2 head\nline\n\n\n\n\n====\n"},
               {"HEAD",
                "FOOT",
                {"LINE", "LINE", "LINE", "LINE"},
                "1 head\nline\nline\nline\nfoot\n\n====\n2 head\nline\n\n\nfoot\n\n====\n"},
               {"",
                "",
                {"LINE", "LINE", "LINE", "TWO", "LINE"},  // does not fit
                "line\nline\nline\n\n\n\n====\n1\n2\nline\n\n\n\n====\n"},
               {"HEAD",
                "FOOT",
                {"LINE", "LINE", "TWO"},
                "1 head\nline\nline\n\nfoot\n\n====\n2 head\n1\n2\n\nfoot\n\n====\n"},
               {"HEAD",
                "FOOT",
                {"LINE", "<<NP>>", "LINE"},
                "1 head\nline\n\n\nfoot\n\n====\n2 head\nline\n\n\nfoot\n\n====\n"},
               {"HEAD", "FOOT", {}, ""}};
  write_list(kShortPage, {line, two, head, foot});
  for (const auto& [header, footer, blocks, expected] : cases)
    EXPECT_EQ(print(blocks, header, footer), expected) << &blocks - &cases[0].blocks;
  list_open("L");
  EXPECT_EQ(list_lines_left(), 5);
  list_print("LINE");
  EXPECT_EQ(list_lines_left(), 4);
  list_print(kEjectPage);
  EXPECT_EQ(list_page(), 2);
  list_close();
  EXPECT_EQ(told, "");
}

TEST_F(ListTest, HeadersAndFootersLookTheSameInWhateverTheyInterrupt) {
  const BlockInstructions across = {
      only(kPitch, 17), only(kColumnPitch, 17), only(kBoldOn), words("a"), next_line(), words("b")};
  write_list({.page_length = 3, .first_line = 1, .last_line = 3},
             {{"HEAD", {place(1, 1), words("h"), place(2, 0, 1, 3), words("i")}},
              {"FOOT", {place(1, 1), words("f")}, {.footer_lines = 1}},
              {"B", across}});
  EXPECT_EQ(print({"B"}, "HEAD", "FOOT"),
            "h i\n[FETTEIN][16Z]a\n[FETTAUS][10Z]f\n====\n"
            "h i\n[FETTEIN][16Z]b\n[FETTAUS][10Z]f\n====\n");
}

// An eject makes no page that has nothing but its header.
TEST_F(ListTest, EjectsInBlocksWaitForWhatFollows) {
  const struct {
    std::vector<std::string> blocks;
    std::string expected;
  } cases[] = {
      {{"END"}, "1 h\nx\n\n\nf\n====\n"},
      {{"BEGIN"}, "1 h\ny1\n\n\nf\n====\n"},
      {{"BEGIN", "BEGIN"}, "1 h\ny1\n\n\nf\n====\n2 h\ny2\n\n\nf\n====\n"},
      {{"END", "BEGIN"}, "1 h\nx\n\n\nf\n====\n2 h\ny2\n\n\nf\n====\n"},
      {{"END", "DOWN"}, "1 h\nx\n\n\nf\n====\n2 h\n\n  z\n\nf\n====\n"},
      {{"END", "EMPTY"}, "1 h\nx\n\n\nf\n====\n"},
      {{"FULL", "EMPTY"}, "1 h\n1\n2\n3\nf\n====\n"},
      {{"FULL", "BEGIN"}, "1 h\n1\n2\n3\nf\n====\n2 h\ny2\n\n\nf\n====\n"},
      {{"FULL", "NUMBER"}, "1 h\n1\n2\n3\nf\n====\n2 h\n2\n\n\nf\n====\n"},
      {{"END", "<<NP>>", "NUMBER"}, "1 h\nx\n\n\nf\n====\n2 h\n2\n\n\nf\n====\n"},
      {{"END", "FAR"}, "1 h\nx\n\n\nf\n====\n2 h\nt\n\n\nf\n====\n"},
  };
  const Instruction here = place(2, 0);
  const Instruction page = {.code = kPage};
  write_list(
      {.page_length = 5, .last_line = 5},
      {{"HEAD", {place(1, 1), page, words(" h")}},
       {"FOOT", {place(1, 1), words("f")}, {.footer_lines = 1}},
       {"END", {here, words("x"), only(kEject)}},
       {"BEGIN", {here, only(kEject), words("y"), page, next_line()}},
       {"DOWN", {place(3, 1, 1, 3), words("z")}},
       {"EMPTY", {here, next_line(), next_line()}},
       {"FULL", {here, words("1"), next_line(), words("2"), next_line(), words("3"), next_line()}},
       {"NUMBER", {here, page}},
       {"FAR", {place(3, 50), words("t")}}});
  for (const auto& [blocks, expected] : cases)
    EXPECT_EQ(print(blocks, "HEAD", "FOOT"), expected) << &blocks - &cases[0].blocks;
}

// No block keeps the engine from coming to an end.
TEST_F(ListTest, PlacesBeyondThePageEndOnTheNextOne) {
  const TestBlock head = {"HEAD", {place(1, 99), words("head"), only(kEject), words("er")}};
  const TestBlock foot = {"FOOT", {place(1, 99), words("foot")}, {.footer_lines = 1}};
  const TestBlock beyond = {
      "BEYOND", {place(1, 77), words("x"), place(1, 2), words("y"), place(1, 1), words("z")}};
  const TestBlock tall = {"TALL", {place(1, 1), words("x")}, {.same_page = true, .length = 99}};
  write_list(kShortPage, {head, foot, beyond, tall});
  EXPECT_EQ(print({"BEYOND"}), "\n\n\n\n\n\n====\nx\ny\n\n\n\n\n====\nz\n\n\n\n\n\n====\n");
  EXPECT_EQ(print({"TALL"}), "x\n\n\n\n\n\n====\n");
  print({"TALL"}, "HEAD", "FOOT");
  EXPECT_NE(printed.find("header"), std::string::npos);
  EXPECT_NE(printed.find("foot"), std::string::npos);
}

TEST_F(ListTest, FieldsAreWrittenByWidthAlignmentAndMask) {
  struct Fields : ListRecord {
    bool get(std::string_view field, int element, ListFieldValue& value) const override {
      if (element > 2) return false;
      if (field == "TOWN") value = {.text = element == 1 ? "Wien" : "Graz"};
      if (field == "SUM") value = {.is_number = true, .number = 2.5, .mask = "#0,00"};
      return field == "TOWN" || field == "SUM";
    }
  } fields;
  using enum Alignment;
  const std::pair<Instruction, std::string> cases[] = {
      {{.code = kField, .text = "T", .width = 6}, "text  "},
      {{.code = kField, .text = "T", .width = 6, .alignment = kRight}, "  text"},
      {{.code = kField, .text = "T", .width = 2}, "te"},
      {{.code = kField, .text = "T"}, "text"},
      {{.code = kField, .text = "T", .generation = 7}, "sev n"},
      {{.code = kField, .text = "N"}, "-12,5"},
      {{.code = kField, .text = "N", .alignment = kMask, .mask = "-##0,00"}, "- 12,50"},
      {{.code = kField, .text = "N", .width = 9, .alignment = kMask, .mask = "-##0,00"},
       "  - 12,50"},
      {{.code = kRecordField, .text = "TOWN"}, "Wien"},
      {{.code = kRecordField, .text = "TOWN", .generation = 2}, "Graz"},
      {{.code = kRecordField, .text = "SUM"}, " 2,50"},
      {{.code = kRecordField, .text = "SUM", .mask = "000"}, "003"},
      {{.code = kPage, .mask = "00"}, "01"},
      {{.code = kPage}, "1"},
      {{.code = kShortDate}, "21.11.26"},
      {{.code = kLongDate}, "21.11.2026"},
      {{.code = kFirstRegister}, "0"},
      {{.code = kLastRegister, .mask = "0,00000000000"}, "1,25000000000"},
      {words("\5PAGE,##\5\5TTMMJJ\5\5TTMMJJJJ\5"), " 121.11.2621.11.2026"},
      {words("a line of no \5BB\5more\5NL\5\5FUSSEND\5\5BE\5than\00510Z\5"),
       "a line of no than[10Z]"},
  };
  for (const auto& [instruction, expected] : cases) {
    write_list({.page_length = 1, .last_line = 1}, {{"B", {instruction, words(".")}}});
    printed.clear();
    list_open("L");
    list_set("T", "text");
    list_set("T", "sev\5n", 7);  // only blocks have markers
    list_set("N", 1.0);
    list_set("N", -12.5);
    list_set_register(9, 1.25);
    list_set_register(10, 1);
    list_set_record(&fields);
    list_print("B");
    list_close();
    const std::string first_line = printed.substr(0, printed.find('\n'));
    EXPECT_EQ(first_line, "[10Z]"s + expected + ".") << &instruction - &cases[0].first;
  }
  EXPECT_EQ(told, "");
}

// A number is never cut, and an empty value is no fault.
TEST_F(ListTest, NumbersWithoutRoomAreToldAndEmptyValuesAreBlank) {
  struct Fields : ListRecord {
    bool get(std::string_view field, int /*element*/, ListFieldValue& value) const override {
      if (field == "SUM") value = {.is_number = true, .number = 1234.5, .text = "1234.50"};
      return field == "SUM" || field == "EMPTY";
    }
  } fields;
  using enum Alignment;
  const struct {
    Instruction instruction;
    std::string expected;
    std::string overflow = "";  // its number and place
  } cases[] = {
      {{.code = kField, .text = "N"}, "12.50"},
      {{.code = kField, .text = "N", .width = 6, .alignment = kRight}, " 12.50"},
      {{.code = kField, .text = "N", .mask = "##0,00"}, " 12,50"},
      {{.code = kField, .text = "WHOLE"}, "1234567890123456"},
      {{.code = kField, .text = "NONE", .alignment = kMask, .mask = "#0,0", .total = 1}, "    "},
      {{.code = kField, .text = "NONE", .width = 2}, "  "},
      {{.code = kJump, .text = "NONE", .target = 4}, ""},
      {{.code = kRecordField, .text = "EMPTY", .mask = "#0,0"}, "    "},
      {{.code = kRecordField, .text = "EMPTY", .width = 6, .mask = "#0,0", .total = 2}, "      "},
      {{.code = kRecordField, .text = "SUM"}, "1234.50"},
      {{.code = kRecordField, .text = "SUM", .width = 8, .mask = "####0,00"}, " 1234,50"},
      {{.code = kRecordField, .text = "SUM", .width = 7, .mask = "####0,00"}, "1234,50"},
      {{.code = kRecordField, .text = "SUM", .width = 6, .mask = "####0,00"},
       "******",
       "SUM: a width of 6 has no room for 1234,5"},
      {{.code = kRecordField, .text = "SUM", .width = 6},
       "******",
       "SUM: a width of 6 has no room for 1234,5"},
      {{.code = kRecordField, .text = "SUM", .mask = "##0,0"},
       "*****",
       "SUM: ##0,0 has no room for 1234,5"},
      {{.code = kField, .text = "N", .width = 3, .mask = "0,00"},
       "***",
       "N: 0,00 has no room for 12,5"},
      {{.code = kFirstRegister, .mask = "0"}, "*", "register 0: 0 has no room for 10"},
      {words("\5UEBERTRAG,1,0\5"), "*", "total 1: 0 has no room for 40"},
  };
  for (const auto& [instruction, expected, overflow] : cases) {
    const Instruction add = {.code = kField, .text = "T", .mask = "00", .total = 1};
    write_list({.page_length = 2, .last_line = 2},
               {{"B", {place(1, 2), words("ab"), instruction, words(".")}}, {"TOTAL", {add}}});
    told.clear();
    printed.clear();
    list_open("L");
    list_set("N", 12.5, "12.50");
    list_set("WHOLE", 1234567890123456.0);
    list_set_empty("NONE");
    list_set("T", 40.0);
    list_set_register(0, 10);
    list_set_record(&fields);
    list_print("TOTAL");
    list_print("B");
    list_close();
    EXPECT_EQ(printed, "[10Z]40\nab" + expected + ".\n====\n");
    // The place of a marker's number is that of its text.
    const std::string column = instruction.code == kText ? "1" : "3";
    EXPECT_EQ(told, overflow.empty()
                        ? ""
                        : "LP1:L:page 1, line 2, column " + column + ": " + overflow + " \n");
  }
  // One message a list, unless the program asks for each number.
  const Instruction narrow = {.code = kField, .text = "N", .mask = "0"};
  write_list(kShortPage, {{"B", {narrow, narrow, next_line()}}});
  const auto print_twice = [] {
    told.clear();
    list_open("L");
    list_set("N", 10.0);
    list_print("B");
    list_print("B");
    list_close();
    return told;
  };
  EXPECT_EQ(print_twice(),
            "LP1:L:page 1, line 1, column 1: N: 0 has no room for 10 (and 3 more) \n");
  list_on_overflow([](const ListOverflow& overflow) {
    told += std::to_string(overflow.line) + std::to_string(overflow.column) + " ";
  });
  EXPECT_EQ(print_twice(), "11 12 21 22 ");
  list_on_overflow(nullptr);
}

TEST_F(ListTest, FieldsOfDataFilesAreWrittenByTheirOwnMasks) {
  definition_add(std::move(
      *scan_definitions("BEGINFILE NAME SHOP VERSION 1 PATH 0 LEN 64 TYPE ISAM BEGINFIELD "
                        "FIELD NO TYPE LONGINT MASK '00000' PREVAL 7 FIELD N TYPE INT PREVAL -3 "
                        "FIELD TOWN TYPE STRING 10 TIMES 2 PREVAL 'Wien', 'Graz' "
                        "FIELD SUM TYPE REAL MASK '#0,00' PREVAL 1.5 ENDFIELD "
                        "BEGINKEY KEY 1 SEGMENT 1 IS NO ENDKEY ENDFILE END.",
                        AfterScanError::kStop)
           .files.at(0)
           .definition));
  DataFile& shop = data_file("SHOP");
  const DataRecord record(shop);
  BlockInstructions block;
  for (const char* name : {"NO", "N", "TOWN", "SUM"})
    block.insert(block.end(), {{.code = kRecordField, .text = name}, words("|")});
  block.push_back({.code = kRecordField, .text = "TOWN", .generation = 2});
  block.push_back({.code = kRecordField, .text = "TOWN", .generation = 3});
  write_list({.page_length = 1, .last_line = 1}, {{"B", block}});
  data_open(shop, LockWait::kTell);
  list_open("L");
  list_set_record(&record);
  list_print("B");
  list_close();
  EXPECT_EQ(printed, "[10Z]00007|-3|Wien| 1,50|Graz\n====\n");
  EXPECT_EQ(told, "Variable \"TOWN\" nicht gesetzt! _VARNS_\n");
}

TEST_F(ListTest, JumpsAndPlacesGoByVariables) {
  const auto jump = [](bool negated, std::int32_t generation) {
    return Instruction{
        .code = kJump, .text = "V", .generation = generation, .negated = negated, .target = 2};
  };
  const BlockValue by_variable = {
      .kind = BlockValue::Kind::kVariable, .variable = "COLUMN", .generation = 1};
  const BlockValue by_number = {.kind = BlockValue::Kind::kNumber, .number = 1.5};
  const Instruction there = {.code = kPlace,
                             .values = {number(1), by_number, number(1), by_variable}};
  write_list(kShortPage, {{"SET", {jump(false, 0), words("a"), words("b")}},
                          {"NOT", {jump(true, 0), words("c"), words("d")}},
                          {"GENERATION", {jump(false, 2), words("e"), words("f")}},
                          {"THERE", {there, words("x")}}});
  list_open("L");
  list_set("V", 0.0);
  list_set("COLUMN", 3.49, 1);
  for (const char* block : {"SET", "NOT", "GENERATION", "THERE"})
    list_print(block);
  list_unset("V");
  list_print("SET");
  list_close();
  EXPECT_EQ(printed, "[10Z]bcdef\n  xab\n\n\n\n\n====\n");
}

TEST_F(ListTest, VariablesAreKnownByTheirWholeNameAndGeneration) {
  const std::string names[] = {"",      "A",      "AB",      "BA",       "ABC",       "ABCD",
                               "ABCDE", "ABCDCD", "ABCDBCD", "ABCDEFGH", "ABCDEFGHI", "ABCDEFGHJ",
                               "ABXCD", "A\0"s,   "ABBA",    "ABABAB",   "AAA",       "AABA"};
  variables_clear();
  double number = 0;
  for (const std::int32_t generation : {0, 1})
    for (const std::string& name : names)
      EXPECT_TRUE(variable_set(name, generation, ++number));
  for (const std::int32_t generation : {1, 0})
    for (const std::string& name : names)
      EXPECT_EQ(variable_place(name, generation)->number,
                static_cast<double>(&name - names + 1) + 18.0 * generation);
  variable_unset("ABC", 1);
  EXPECT_EQ(variable_place("ABC", 1)->kind, VariableKind::kNotSet);
  EXPECT_EQ(variable_place("ABC", 0)->number, 5);
  EXPECT_EQ(variable_place("AABA", 1)->number, 36);
  // A place stays valid when its variable is unset, and the room of others is used again.
  const Variable* place = variable_place("ABC", 1);
  for (std::int32_t generation = 2; generation < 300; ++generation) {
    ASSERT_TRUE(variable_set("ABC", generation, generation));
    variable_unset("ABC", generation);
  }
  ASSERT_TRUE(variable_set("ABC", 1, "again"));
  EXPECT_EQ(place->text, "again");
}

// The header is printed for the first piece of a long line, before the rest of it.
TEST_F(ListTest, AHeaderMayAskTheRecordWhileItsTextIsPrinted) {
  struct Fields : ListRecord {
    bool get(std::string_view field, int /*element*/, ListFieldValue& value) const override {
      text.assign(300, field[0]);
      value = {.text = text};
      return true;
    }
    mutable std::string text;
  } fields;
  write_list({.page_length = 4, .last_line = 4},
             {{"HEADER", {{.code = kRecordField, .text = "H", .width = 2}}},
              {"LINE", {{.code = kRecordField, .text = "B"}}}});
  list_open("L");
  list_set_header("HEADER");
  list_set_record(&fields);
  list_print("LINE");
  list_close();
  EXPECT_TRUE(printed.starts_with("[10Z]HH\n" + std::string(300, 'B') + "\n")) << printed;
}

TEST_F(ListTest, TotalsAreCarriedOver) {
  const Instruction add = {
      .code = kField, .text = "N", .alignment = Alignment::kMask, .mask = "##0", .total = 4};
  write_list({.page_length = 3, .last_line = 3},
             {{"LINE", {add, next_line()}},
              {"FOOT", {place(1, 1), words("\5UEBERTRAG,4,#000\5")}, {.footer_lines = 1}},
              {"HEAD", {place(1, 1), words("\5UEBERTRAG,4\5 "), {.code = kPage, .mask = "00"}}}});
  list_open("L");
  list_set_footer("FOOT");
  list_set_header("HEAD");
  for (const double value : {2.0, 3.0, 4.0}) {
    list_set("N", value);
    list_print("LINE");
  }
  list_close();
  EXPECT_EQ(printed, "[10Z]0 01\n  2\n 002\n====\n2 02\n  3\n 005\n====\n5 03\n  4\n 009\n====\n");
}

TEST_F(ListTest, WhatGoesWrongIsToldAndAbortsTheList) {
  using enum Alignment;
  const struct {
    Instruction instruction;
    std::string message;
  } cases[] = {
      {{.code = kField, .text = "NONE"}, "Variable \"NONE\" nicht gesetzt! _VARNS_\n"},
      {{.code = kField, .text = "N", .generation = 1}, "Variable \"N\" nicht gesetzt! _VARNS_\n"},
      {{.code = kField, .text = "T", .alignment = kMask, .mask = "#"},
       "Variable \"T\" Text / Numerisch MischMasch! _VARNS_\n"},
      {{.code = kPitch, .values = {{{.kind = BlockValue::Kind::kVariable, .variable = "T"}}}},
       "Variable \"T\" Text / Numerisch MischMasch! _VARNS_\n"},
      {{.code = kRecordField, .text = "TOWN"}, "Variable \"TOWN\" nicht gesetzt! _VARNS_\n"},
  };
  for (const auto& [instruction, message] : cases) {
    write_list(kShortPage, {{"B", {words("a"), instruction, words("b")}}});
    told.clear();
    printed.clear();
    list_open("L");
    list_set("N", 1.0);
    list_set("T", "text");
    list_print("B");
    list_print("B");
    EXPECT_TRUE(list_check_abort());
    list_close();
    EXPECT_EQ(told, message);
    EXPECT_EQ(printed, "[10Z]a\n\n\n\n\n\n====\n");  // the page ends all the same
  }
  told.clear();
  EXPECT_EQ(print({"NONE", "B"}), "");
  EXPECT_EQ(told, "LP1:L:NONE:Block nicht gefunden! _BLONF_\n");
  told.clear();
  write_list(kShortPage, {{"B", {{.code = BlockCode{4}}, {.code = BlockCode{99}}, words("b")}}});
  EXPECT_EQ(print({"B"}), "b\n\n\n\n\n\n====\n");
  EXPECT_EQ(told, "Unknown Meta:4 _UNKNM_\nUnknown Meta:99 _UNKNM_\n");
}

TEST_F(ListTest, PagesAndStoresThatAreNoneAreRefused) {
  const auto message_of = [](const ListOptions& options = {}) {
    told.clear();
    const int result = list_open("L", options);
    list_print("B");
    list_close();
    return std::to_string(result).append(" ").append(told);
  };
  EXPECT_EQ(message_of(), "3 LP1:L:Liste nicht gefunden! _LISNF_\n");
  write_list(kShortPage, {{"B", {words("b")}}});
  EXPECT_EQ(message_of(), "0 ");
  EXPECT_EQ(message_of({.page_length = 0}), "1 LP1:L:the page has no lines _BLONF_\n");
  EXPECT_EQ(message_of({.first_line = 6}),
            "1 LP1:L:the page's first line is beyond its last one _BLONF_\n");
  EXPECT_EQ(message_of({.first_line = 0}),
            "1 LP1:L:the page's first line is beyond its last one _BLONF_\n");
  printed.clear();
  told.clear();
  list_open("L");
  for (int i = 0; i <= 120; ++i)
    list_set(std::string("V").append(std::to_string(i)), 1.0);
  list_print("B");
  list_close();
  EXPECT_EQ(told, "LP1:L:more than 120 variables _VARNS_\n");
  EXPECT_EQ(printed, "[10Z]");
  write_list(kShortPage, {{"B", {words("b")}, {.offset = 1000}}});
  EXPECT_EQ(message_of(),
            "0 LP1:L:B:DRUCK.BIN: its offset lies beyond the end of the block store _BLONF_\n");
  std::string store = read_file("DRUCK.BIN");
  store.back() = 7;
  write_file("DRUCK.BIN", store);
  EXPECT_EQ(message_of(), "1 LP1:L:./DRUCK.BIN: a damaged block store _BLONF_\n");
  EXPECT_DEATH((list_open("L"), list_open("L")), "error 42\n");
  EXPECT_DEATH(list_close(), "error 43\n");
  EXPECT_DEATH(channel_write("x"), "error 45\n");
}

// Opening a read-only file that fails would end the program.
TEST_F(ListTest, OpeningWaitsForWhoHasAListFileForHimself) {
  write_list(kShortPage, {{"B", {words("b")}}});
  static int holder = 0;
  holder = ISOPEN("BLOECKE", kIsInputOutput | kIsExclusive);
  ASSERT_GE(holder, 0);
  static int waited = 0;
  user_interface().wait_for_lock = [](const char*) {
    if (++waited == 2) ISCLOSE(holder);
  };
  EXPECT_EQ(list_open("L"), kListDone);
  EXPECT_EQ(waited, 2);
  list_close();
}

TEST_F(ListTest, OpeningWaitsForAnInstallation) {
  static RecordFile installer;
  write_list(kShortPage, {{"B", {words("b")}}});
  write_file("LISTEN.lock", "");
  installer.open("LISTEN.lock", true);
  ASSERT_EQ(installer.lock(kFirstLock, 1, true), 0);
  static int slept = 0;
  clock_sleep_hook = [](int) { ++slept; };
  EXPECT_EQ(list_open("L"), kListBad);
  list_close();
  EXPECT_EQ(told, "LP1:L:./LISTEN.lock: another process is installing lists _BLONF_\n");
  EXPECT_EQ(slept, 5);
  clock_sleep_hook = [](int) { installer.close(); };
  EXPECT_EQ(list_open("L"), kListDone);
  list_close();
  clock_sleep_hook = nullptr;
}

TEST_F(ListTest, OwnFilesComeFirstAndOptionsGoBeforeRecords) {
  write_list({.page_length = 3, .last_line = 9, .output = "out  "}, {{"B", {words("plain")}}});
  EXPECT_EQ(print({"B"}), "plain\n\n\n====\n");
  write_list(kShortPage, {{"B", {words("own")}, {.repeat = 4}}}, kOwnListFiles);
  list_open("L", {.first_line = 2, .last_line = 3, .page_length = 4});
  EXPECT_EQ(list_lines_left(), 3);
  EXPECT_EQ(list_repeat("B") + list_repeat("NONE"), 4);
  printed.clear();
  list_print("B");
  EXPECT_EQ(list_close(), "");
  EXPECT_EQ(printed, "\nown\n\n\n====\n");
  print_defaults_set({.page_limit = 4, .page_limit_first_line = 3});
  EXPECT_EQ(print({"B"}), "own\n\n====\n");
}

}  // namespace
}  // namespace marigold::inner::test
