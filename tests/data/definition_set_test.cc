// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/definition/definition_set.h"

#include "runtime/core/settings.h"
#include "runtime/texte/syserr.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

const std::string kHead = "BEGINFIL NAME A VERSION 1 PATH 2 LEN 64 ";
const std::string kFields =
    "BEGINFIE FIELD F TYPE STRING 20 TIMES 3 PREVAL NIL,NIL , NIL ENDFIELD ";
const std::string kKeys = "BEGINKEY KEY 1 SEGMENT 1 IS F ENDKEY ";
const std::string kIsam = kHead + "TYPE ISAM " + kFields + kKeys + "ENDFILE ";
const std::string kEnd = "END.\n";

// Returns a set of one keyed file with these fields, the first of which is F, and these keys.
static std::string with_fields(const std::string& fields, const std::string& keys = kKeys) {
  return kHead + "TYPE ISAM BEGINFIE " + fields + " ENDFIELD " + keys + "ENDFILE END.";
}

static std::string with_keys(const std::string& entries) {
  return kHead + "TYPE ISAM " + kFields + "BEGINKEY " + entries + " ENDKEY ENDFILE END.";
}

static std::string random_with(const std::string& fields) {
  return kHead + "TYPE RANDOM BEGINFIE " + fields + " ENDFIELD ENDFILE END.";
}

static DefinitionScan scan(const std::string& text, AfterScanError after = AfterScanError::kStop) {
  return scan_definitions(text, after);
}

TEST(DefinitionSetTest, EverythingThatADefinitionSays) {
  const std::string text =
      "ignored # BEGINFIL in a comment ' \n"
      "BEGINFILE NAME KUNDEN VERSION 12 PATH 30 LEN 112 ACCESS READONLY TYPE ISAM\nBEGINFIELD\r\n"
      "FIELD NR TYPE LONGINT MASK '#####0' PREVAL -7\n"
      "FIELD NAME TYPE STRING 20 TIMES 3 PREVAL 'a_'b#,_ c', NIL,'a text that is cut at 20'\n"
      "FIELD SUM TYPE REAL TIMES 2 PREVAL +1.5e2,-0.25 FIELD KIND TYPE CHAR PREVAL ''\n"
      "FIELD N TYPE INT PREVAL -32768 FIELD D TYPE DATE PREVAL 311299 FIELD T TYPE TIME PREVAL 930\n"
      "FIELD CHAIN TYPE KETTHEAD MOVES TIMES 2 PREVAL NIL,whatever\nENDFIELD\n"
      "BEGINKEY KEY 2 SEGMENT 2 IS NAME KEY 2 SEGMENT 1 IS NR KEY 1 SEGMENT 1 IS N\n"
      "KEY 1 SEGMENT 1 IS NR ENDKEY ENDFILE\n"
      "BEGINFIL NAME B VERSION 0 PATH 0 LEN 1 ACCESS OFTEN TYPE KETT BEGINFIE ENDFIELD ENDFILE END.";
  const DefinitionScan result = scan(text);
  ASSERT_EQ(result.errors.size(), 0U) << result.errors[0].line << result.errors[0].expected;
  ASSERT_EQ(result.files.size(), 2U);
  EXPECT_EQ(result.files[0].line, 2);
  const FileDefinition& file = *result.files[0].definition;
  EXPECT_EQ(file.name.view(), "KUNDEN");
  EXPECT_EQ((std::vector<int>{file.version, file.path_class, file.record_length, file.used_length}),
            (std::vector<int>{12, 30, 112, 99}));
  EXPECT_TRUE(file.read_only && file.type == FileType::kIsam);

  struct Expected {
    const char* name;
    FieldType type;
    int offset, size, times, key;
    std::string mask;
    std::vector<std::optional<Preset>> presets;
  };
  const std::string text_20 = "a text that is cut a";
  const Expected rows[] = {
      {"NR", FieldType::kLongint, 0, 4, 1, 1, "#####0", {-7}},
      {"NAME", FieldType::kString, 4, 20, 3, 2, "", {"a'b#, c"s, std::nullopt, text_20}},
      {"SUM", FieldType::kReal, 64, 8, 2, 99, "", {150.0, -0.25}},
      {"KIND", FieldType::kChar, 80, 1, 1, 99, "", {"'"s}},
      {"N", FieldType::kInt, 81, 2, 1, 1, "", {-32768}},
      {"D", FieldType::kDate, 83, 4, 1, 99, "", {311299}},
      {"T", FieldType::kTime, 87, 4, 1, 99, "", {930}},
      {"CHAIN", FieldType::kChainHead, 91, 4, 2, 99, "MOVES", {-1, -1}}};
  ASSERT_EQ(file.fields.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const FieldDefinition& field = file.fields[i];
    EXPECT_EQ(file.find_field(rows[i].name), &field);
    EXPECT_EQ(field.type, rows[i].type) << rows[i].name;
    EXPECT_EQ((std::vector<int>{field.offset, field.size, field.times, field.key_number}),
              (std::vector<int>{rows[i].offset, rows[i].size, rows[i].times, rows[i].key}))
        << rows[i].name;
    EXPECT_EQ(field.mask, rows[i].mask);
    EXPECT_EQ(field.presets, rows[i].presets) << rows[i].name;
  }
  ASSERT_EQ(file.keys.key_count, 2);
  EXPECT_EQ(file.keys.keys[0].segment_count, 1);
  EXPECT_EQ(file.keys.keys[0].segments[0].start, 0);
  const KeyDefinition& second = file.keys.keys[1];
  ASSERT_EQ(second.segment_count, 2);
  EXPECT_EQ(second.segments[0].type, FieldType::kLongint);
  EXPECT_EQ(second.segments[1].start, 4);
  EXPECT_EQ(second.segments[1].length, 20);  // of one element
  const FileDefinition& chained = *result.files[1].definition;
  EXPECT_TRUE(chained.type == FileType::kChained && !chained.read_only && chained.fields.empty());
}

TEST(DefinitionSetTest, EveryErrorHasItsNumber) {
  const std::string f = "FIELD F TYPE ";
  const std::string snr = "FIELD SNR TYPE ";
  const std::string eight =
      "KEY 1 SEGMENT 1 IS F KEY 1 SEGMENT 2 IS F KEY 1 SEGMENT 3 IS F KEY 1 "
      "SEGMENT 4 IS F KEY 1 SEGMENT 5 IS F KEY 1 SEGMENT 6 IS F";
  const std::string v249(249, '1');
  const std::pair<int, std::vector<std::string>> rows[] = {
      // Names and values
      {0, {kIsam + kEnd, with_fields(f + "CHAR MASK '" + v249.substr(2) + "' PREVAL NIL")}},
      {7,
       {kIsam + kIsam + kEnd, with_fields(f + "INT PREVAL 0 FIELD F TYPE INT PREVAL 0"),
        with_fields(f + "INT PREVAL " + v249)}},
      {9,
       {"BEGINFILENAME NAME CUSTOMER1", with_fields("FIELD CUSTOMER1 TYPE INT PREVAL 0"),
        with_keys("KEY 1 SEGMENT 1 IS CUSTOMER1")}},
      {10,
       {with_fields(f + "CHAR MASK '" + v249.substr(1) + "' PREVAL NIL"),
        with_fields(f + "INT PREVAL 1" + v249), with_fields(f + "KETTHEAD 1" + v249)}},
      // Numbers
      {7,
       {"BEGINFIL NAME A VERSION -1 ", "BEGINFIL NAME A VERSION 1.5 ",
        "BEGINFIL NAME A VERSION 2147483648 ", "BEGINFIL NAME A VERSION 2147483647 PATH 31 ",
        "BEGINFIL NAME A VERSION 1 PATH 30 LEN 0 ", with_fields(f + "STRING 0 PREVAL NIL"),
        with_fields(f + "INT TIMES 0 PREVAL 1"), with_fields(f + "INT PREVAL 32768"),
        with_fields(f + "DATE PREVAL 2147483648"), with_fields(f + "REAL PREVAL 1e999"),
        with_fields(f + "REAL PREVAL inf"), with_fields(f + "INT PREVAL +-1"),
        with_fields(f + "CHAR PREVAL x"), with_fields(f + "STRING 3 PREVAL abc")}},
      // Order of the words
      {7,
       {"BEGINFIL VERSION 1", kHead + "ACCESS READONLY BEGINFIE",
        kHead + "TYPE ISAM " + kFields + "ENDFILE", kHead + "TYPE KETT " + kFields + kKeys,
        with_fields(f + "INT"), with_fields(f + "KETTHEAD X MASK 'a' PREVAL NIL"),
        with_fields(f + "INT MASK 0 PREVAL NIL"), with_fields(f + "INT TIMES 2 PREVAL 1"),
        with_fields(f + "INT TIMES 2 PREVAL ,1"), with_fields(f + "INT PREVAL 1,2")}},
      {11, {with_fields(f + "BYTE PREVAL 0")}},
      {16, {kHead + "TYPE TREE"}},
      // Record length
      {0,
       {with_fields(f + "STRING 64 PREVAL NIL"),
        random_with(snr + "LONGINT PREVAL 0 FIELD F TYPE INT PREVAL 0")}},
      {19,
       {with_fields(f + "STRING 65 PREVAL NIL"),
        with_fields(f + "STRING 2147483647 TIMES 2147483647 PREVAL NIL")}},
      {20,
       {random_with("FIELD NR TYPE LONGINT PREVAL 0"), random_with(snr + "INT PREVAL 0"),
        random_with("")}},
      // Keys
      {0, {with_keys(eight)}},
      {7, {with_keys("KEY one SEGMENT 1 IS F")}},
      {13, {with_keys("KEY 9 SEGMENT 1 IS F"), with_keys("KEY 1 SEGMENT 0 IS F")}},
      {14,
       {with_keys(""), with_keys("KEY 2 SEGMENT 1 IS F"), with_keys("KEY 1 SEGMENT 2 IS F"),
        with_keys(eight + " KEY 1 SEGMENT 7 IS F")}},
      {15, {with_keys("KEY 1 SEGMENT 1 IS G")}},
      // Sections
      {0,
       {"$IFDEF MSDOS BEGINFIL 'it_'s' $ENDIF END.",
        with_fields(f + "INT PREVAL $IFDEF MSDOS x $ELSE 1 $ENDIF")}},
      {56, {"$IFDEF MSDOS $IFDEF MSDOS", "$IFDEF MSDOS $ELSE $IFDEF MSDOS"}},
      {57, {"$IFDEF MSDOS $ELSE $ELSE", "$ELSE"}},
      {58, {"$ENDIF", "$IFDEF MSDOS $ENDIF $ENDIF"}},
      {59, {"$IFDEF UNIX"}},
      // The end
      {60, {"", "END", "'END.", "$IFDEF MSDOS END.", "$IFDEF", kIsam}}};
  for (const auto& [number, texts] : rows) {
    for (const std::string& text : texts) {
      const DefinitionScan result = scan(text);
      ASSERT_EQ(result.errors.empty() ? 0 : result.errors[0].number, number) << text;
    }
  }
}

TEST(DefinitionSetTest, ACheckerGoesOnWithTheNextDefinition) {
  const std::string text = "BEGINFIL NAME A\nVERSON 1\n" +  // this definition ends here
                           kHead.substr(0, 14) +
                           "C VERSION\nBEGINFIL NAME X\n"  // and here, where the next one begins
                           "VERSION 1 $ENDIF\nBEGINFIL NAME D VERSION '1\n" +  // an unclosed quote
                           std::string(300, ' ') +
                           "\n" + kIsam + "\n$IFDEF UNIX $ELSE $ENDIF\n" + kIsam;
  const DefinitionScan result = scan(text, AfterScanError::kNextDefinition);
  std::string found;
  for (const ScanError& error : result.errors)
    found += std::to_string(error.line) + ":" + std::to_string(error.number) + ":" +
             error.expected + ":" + error.found.substr(0, 8) + "\n";
  EXPECT_EQ(found,
            "2:7:VERSION:VERSON\n4:7:a number from 0 to 2147483647:BEGINFIL\n"
            "5:58:$IFDEF first:$ENDIF\n6:10:at most 249 characters:'1\n     \n"
            "9:59:MSDOS:UNIX\n10:7:a name that no other file of the set has:A\n10:60:END.:\n");
  ASSERT_EQ(result.files.size(), 1U);
  EXPECT_EQ(result.files[0].line, 8);
}

TEST(DefinitionSetTest, LoadingFillsTheListOrEndsTheProcess) {
  const WorkDirectory directory;
  std::filesystem::create_directories("definitions/FILEDIR.DES");
  write_file("definitions/FILETWO.DES",
             "BEGINFIL NAME Z VERSION 1 PATH 1 LEN 9 TYPE KETT BEGINFIE ENDFIELD ENDFILE\n"
             "BEGINFIL NAME AB VERSION 1 PATH 1 LEN 9 TYPE KETT BEGINFIE ENDFIELD ENDFILE END.");
  write_file("definitions/FILEONE.DES", kIsam + kEnd);
  write_file("definitions/FILENONE.DES", kEnd);
  write_file("definitions/FILEBAD.DES", kIsam + "\n\nBEGINFIL NAME CUSTOMER1");
  settings_read();
  syserr_start();
  definition_start();
  EXPECT_FALSE(definitions_loaded());
  definition_set_load("NONE");
  EXPECT_TRUE(definitions_loaded() && definitions_by_name().empty());
  definition_set_load("TWO");
  definition_set_load("ONE");
  std::string names;
  for (const FileDefinition* file : definitions_by_name())
    names += file->name.c_str() + " "s;
  EXPECT_EQ(names, "A AB Z ");
  EXPECT_EQ(&definition_get("AB  "), definition_find("AB"));
  EXPECT_EQ(definition_find("KUNDEN"), nullptr);
  EXPECT_DEATH(definition_get("KUNDEN"), "^error\n         1\n");
  EXPECT_DEATH(definition_set_load("ONE"), "^error\n         7\n");
  EXPECT_DEATH(definition_set_load("DIR"), "^error\n        60\n");
  EXPECT_DEATH(definition_set_load("MISSING"), "^error\n        60\n");
  const auto load_bad = [] {
    user_interface().fatal = [](int number) {
      const bool clean = definition_find("A") == nullptr && definition_set_line() == 3 &&
                         definition_set_name() == "FILEBAD" && definition_set_line_shown(number);
      std::_Exit(clean ? number : 100);
    };
    definition_start();
    definition_set_load("BAD");
  };
  EXPECT_EXIT(load_bad(), testing::ExitedWithCode(9), "");
  definition_start();
  user_interface_start();
}

}  // namespace marigold::inner::test
