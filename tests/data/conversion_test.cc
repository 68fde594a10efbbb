// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/conversion.h"

#include <cerrno>
#include <limits>
#include <set>
#include <sstream>

#include "runtime/core/settings.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/isam/common/isam.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/mapped_file.h"
#include "tests/data/support.h"

namespace marigold::inner::test {

// Fields are "NAME TYPE" or "NAME TYPE=PRESETS", with semicolons between them; each gets a line.
static std::string define(const std::string& name, int version, const std::string& type,
                          const std::string& fields, const std::string& keys) {
  std::string lines;
  std::istringstream all(fields);
  for (std::string field; std::getline(all >> std::ws, field, ';');) {
    const std::size_t space = field.find(' ');
    const std::size_t sign = std::min(field.find('='), field.size());
    const std::string presets = sign == field.size() ? "NIL" : field.substr(sign + 1);
    lines += "FIELD " + field.substr(0, space) + " TYPE" + field.substr(space, sign - space) +
             " PREVAL " + presets + "\n";
  }
  return "BEGINFILE NAME " + name + " VERSION " + std::to_string(version) + " PATH 5 LEN 90 TYPE " +
         type + " BEGINFIELD\n" + lines + "ENDFIELD " + keys + " ENDFILE\n";
}

const std::string kItemKeys = "BEGINKEY KEY 1 SEGMENT 1 IS NUMBER KEY 2 SEGMENT 1 IS TEXT ENDKEY";
const std::string kItem1 =
    define("ITEM", 1, "ISAM",
           "NUMBER INT; TEXT STRING 10; WIDE LONGINT; NARROW LONGINT; WHOLE REAL; LETTER CHAR; "
           "DAY DATE; AT TIME; LIST INT TIMES 3=NIL,NIL,NIL; AGAIN INT; GONE STRING 4",
           kItemKeys);
// Version 2 shortens TEXT and removes AGAIN.
const std::string kItem2 =
    define("ITEM", 2, "ISAM",
           "LIST LONGINT TIMES 2=8,9; NUMBER LONGINT; TEXT STRING 4; WIDE REAL; NARROW INT; "
           "WHOLE LONGINT; LETTER STRING 3; DAY LONGINT; AT TIME; EARLY INT=5",
           kItemKeys);
const std::string kItem3 =
    define("ITEM", 3, "ISAM",
           "TEXT STRING 12='new'; NUMBER REAL; WIDE REAL; NARROW INT; WHOLE INT; LETTER CHAR; "
           "DAY DATE; AT TIME; LIST LONGINT TIMES 4=1,2,3,4; EARLY INT=6; AGAIN INT=7",
           kItemKeys);
const std::string kBox1 = define("BOX", 1, "RANDOM", "SNR LONGINT=0; NAME STRING 8", "");
const std::string kBox2 =
    define("BOX", 2, "RANDOM", "SNR LONGINT=0; SIZE INT=3; NAME STRING 5", "");
const std::string kTable = "ITEM 1 2 0\nITEM 2 3 0 # last\nBOX 1 2 1\nEND.\n";

constexpr int kItems = 6;
constexpr int kBoxes = 5;  // number 3 is deleted, 5 too

int last_at = 0;  // AT of the last item, which programs may change

struct ConversionTest : DataTest {
  ConversionTest() {
    std::filesystem::create_directories("definitions");
    write_file("definitions/FILEITEM_1.DES", kItem1 + "END.");
    write_file("definitions/FILEITEM_2.DES", kBox1 + kItem2 + "END.");
    write_file("definitions/FILEBOX_1.DES", kBox1 + "END.");
    write_file("definitions/FILEDATA.DES", kItem3 + kBox2 + "END.");
    write_file("definitions/FILEVER.DES", kTable);
    write_file("definitions/PATHVER.DES", "PATH 5 4 END.");
    setenv("DEFINITION_DIRECTORY", "definitions", 1);
    settings_read();
    clock_sleep_hook = [](int) {};
    make_old_files();
  }
  ~ConversionTest() override {
    conversion_step_hook = nullptr;
    file_fault_hook = nullptr;
    data_close_all();
  }

  // Begins a child that converts.
  static void begin_child() {
    begin_process();
    clock_sleep_hook = [](int) {};
  }

  static void load(std::initializer_list<const char*> sets) {
    data_close_all();
    definition_start();
    for (const char* set : sets)
      definition_set_load(set);
  }
  static void write_item(int number) {
    DataFile& item = data_file("ITEM");
    data_clear_record(item);
    data_put_integer(item, "NUMBER", static_cast<std::int16_t>(number));
    data_put_text(item, "TEXT", number % 2 == 0 ? "even" : "odd and more"s.substr(0, 10));
    data_put_long(item, "WIDE", -1'000'000 * number);
    data_put_long(item, "NARROW", -32'768 + number);
    data_put_double(item, "WHOLE", 32'767 - number);
    data_put_text(item, "LETTER", "k");
    data_put_long(item, "DAY", 311299);
    data_put_long(item, "AT", number == kItems ? last_at : 2359);
    for (int element = 1; element <= 3; ++element)
      data_put_integer(item, "LIST", static_cast<std::int16_t>(number * element), element);
    data_put_integer(item, "AGAIN", 99);
    ASSERT_EQ(data_write(item), kDataDone);
  }
  static void make_old_files() {
    begin_data();
    last_at = 2359;
    data_close_all();
    load({"ITEM_1", "BOX_1"});
    ASSERT_EQ(data_open("ITEM", LockWait::kTell), kDataDone);
    for (int number = kItems; number > 0; --number)
      write_item(number);
    DataFile& item = data_file("ITEM");
    data_put_integer(item, "NUMBER", 100);
    ASSERT_EQ(data_read(item, 1, true, LockWait::kTell), kDataNotFound);  // leaves a placeholder
    DataFile& box = data_file("BOX");
    ASSERT_EQ(data_open(box, LockWait::kTell), kDataDone);
    for (int number = 1; number <= kBoxes; ++number) {
      data_clear_record(box);
      data_put_text(box, "NAME", "box no " + std::to_string(number));
      ASSERT_EQ(data_write(box), kDataDone);
    }
    for (const int number : {3, 5}) {
      data_put_long(box, "SNR", number);
      ASSERT_EQ(data_delete(box), kDataDone);
    }
    load({"DATA"});
  }
  static int run(ConversionReport& report, bool keep_old = false) {
    load({"DATA"});
    return conversion_run(definitions_by_name(), {.keep_old = keep_old, .progress = {}}, report);
  }
  static int run() {
    ConversionReport report;
    return run(report);
  }

  static void expect_item(DataFile& item, int number) {
    EXPECT_EQ(data_get_double(item, "NUMBER"), number);
    EXPECT_EQ(data_get_text(item, "TEXT"), number % 2 == 0 ? "even" : "odd ");
    EXPECT_EQ(data_get_double(item, "WIDE"), -1e6 * number);
    EXPECT_EQ(data_get_integer(item, "NARROW"), -32'768 + number);
    EXPECT_EQ(data_get_integer(item, "WHOLE"), 32'767 - number);
    EXPECT_EQ(data_get_text(item, "LETTER"), "k");
    EXPECT_EQ(data_get_long(item, "DAY"), 311299);
    EXPECT_EQ(data_get_long(item, "AT"), number == kItems ? last_at : 2359);
    const int list[] = {number, 2 * number, 3, 4};
    for (int element = 1; element <= 4; ++element)
      EXPECT_EQ(data_get_long(item, "LIST", element), list[element - 1]);
    EXPECT_EQ(data_get_integer(item, "EARLY"), 5);  // new in version 2
    EXPECT_EQ(data_get_integer(item, "AGAIN"), 7);  // version 2 lacks it, so it is new in version 3
  }
  // Checks that a run succeeds, everything is converted then, and no other file exists.
  static void expect_run_converts() {
    ASSERT_EQ(run(), kConversionDone);
    expect_converted();
  }
  static void expect_converted() {
    DataFile& item = data_file("ITEM");
    ASSERT_EQ(data_open(item, LockWait::kTell), kDataDone);
    int number = 0;
    while (data_read_next(item, 1) == kDataDone)
      expect_item(item, ++number);
    EXPECT_EQ(number, kItems);
    std::string order;
    for (int result = data_read_first(item, 2); result == 0; result = data_read_next(item, 2))
      order += std::to_string(static_cast<int>(data_get_double(item, "NUMBER")));
    EXPECT_EQ(order, "246135");  // equal texts by the primary key
    DataFile& box = data_file("BOX");
    ASSERT_EQ(data_open(box, LockWait::kTell), kDataDone);
    for (const int expected : {1, 2, 4}) {
      ASSERT_EQ(data_read_next(box, 1), kDataDone);
      EXPECT_EQ(data_get_long(box, "SNR"), expected);
      EXPECT_EQ(data_get_integer(box, "SIZE"), 3);
      EXPECT_EQ(data_get_text(box, "NAME"), "box n");
    }
    EXPECT_EQ(data_read_next(box, 1), kDataNotFound);
    data_clear_record(box);
    data_write(box);
    EXPECT_EQ(data_get_long(box, "SNR"), kBoxes + 1);  // no number is given out again
    data_delete(box);
    data_close_all();
    expect_contents("PATHCONV.ver");
    EXPECT_EQ(version_read_path(5), 4);
    EXPECT_EQ(versions(), "3\n2\n");
  }
  static std::string path_of(const std::string& name) {
    return data_path_in(data_directory(5), name);
  }
  static std::string versions() {
    return read_record(path_of("ITEM.ver")) + read_record(path_of("BOX.ver"));
  }
  // Expects the two files with their records, and this file of a directory.
  static void expect_contents(const std::string& more = "lock.$$$") {
    using Names = std::set<std::string>;
    EXPECT_EQ(data_files_in(5), in_cluster() ? Names({"ITEM", "BOX.random", "lock.$$$"})
                                             : Names({"ITEM.dat", "ITEM.idx", "ITEM.ver", "BOX",
                                                      "BOX.ver", "lock.$$$", more}));
  }
  static bool old_file_is_in_force() {
    const int descriptor = ISOPEN(path_of("ITEM").c_str(), kIsInputOutput | kIsManualLock);
    if (descriptor < 0) return false;
    IsamInfo info;
    EXPECT_EQ(isinfo(descriptor, info), 0);
    ISCLOSE(descriptor);
    return info.keys[0].parts[0].length == 2;  // the INT
  }
  // The pair must be the old or the new one, whole, or be refused: never missing, never empty.
  static void expect_no_empty_file() {
    const int descriptor = ISOPEN(path_of("ITEM").c_str(), kIsInputOutput | kIsManualLock);
    if (descriptor < 0) {
      EXPECT_EQ(iserrno, kIsBadFile);
      return;
    }
    EXPECT_GE(iscount(descriptor), kItems);
    ISCLOSE(descriptor);
  }
  static void expect_old() {
    expect_contents();
    EXPECT_EQ(versions(), "1\n1\n");
    expect_no_empty_file();
  }
};

int countdown = 0;

static bool is_killed_at(int step) {
  const auto convert = [](int dies_at) {
    ConversionTest::begin_child();
    countdown = dies_at;
    // A death between two records has the same effect as one before closing.
    conversion_step_hook = [](const char* at) {
      if (at != "write"s && --countdown == 0) die_now();
      return 0;
    };
    std::_Exit(ConversionTest::run());
  };
  const int end = run_child(convert, step);
  forget_the_dead();
  return end == kKilled;
}

TEST_F(ConversionTest, ConvertsEveryFieldAndTellsWhatItDid) {
  ConversionReport report;
  ASSERT_EQ(run(report, true), kConversionDone);
  ASSERT_EQ(report.files.size(), 2);
  EXPECT_EQ(report.files[0].records, 3);
  EXPECT_EQ(report.files[0].cut, 3);
  EXPECT_EQ(report.files[1].base, path_of("ITEM"));
  EXPECT_EQ(report.files[1].records, kItems);
  EXPECT_EQ(report.files[1].cut, kItems / 2);
  for (const char* kept : {"ITEM.version-1", "BOX.version-1"}) {
    EXPECT_EQ(read_record(path_of(kept + ".ver"s)), "1\n");
    remove_record(path_of(kept + ".ver"s));
  }
  for (const char* kept :
       in_cluster() ? std::vector{"ITEM.version-1", "BOX.version-1.random"}
                    : std::vector{"ITEM.version-1.dat", "ITEM.version-1.idx", "BOX.version-1"})
    remove_data_file(path_of(kept));
  expect_converted();
  EXPECT_EQ(run(report), kConversionDone);
  EXPECT_TRUE(report.files.empty());
}

TEST_F(ConversionTest, KilledAtAnyStepTheNextRunGoesOn) {
  bool killed = true;
  for (int step = 1; killed; ++step) {
    make_old_files();
    SCOPED_TRACE(step);
    killed = is_killed_at(step);
    expect_no_empty_file();
    if (old_file_is_in_force()) {  // programs may go on with it
      load({"ITEM_1"});
      ASSERT_EQ(data_open("ITEM", LockWait::kTell), kDataDone);
      last_at = 1200;
      write_item(kItems);
      data_close_all();
    }
    // The next run is killed as well, while it cleans up.
    for (int again = 1; again <= 3 && std::filesystem::exists("data/5/ITEM.converting.ver");
         ++again)
      is_killed_at(again);
    expect_run_converts();
    if (HasFailure()) return;
  }
}

TEST_F(ConversionTest, ASignalThatAsksToEndLeavesTheOldFiles) {
  const auto stop = [] {
    begin_child();
    countdown = 3;  // the first file is copied, the second one begun
    conversion_step_hook = [](const char* step) {
      if (step == "create"s && --countdown == 1) ask_to_stop();
      return 0;
    };
    std::_Exit(run());
  };
  EXPECT_EQ(run_child(stop), kStopped);
  forget_the_dead();
  expect_old();
}

// Some systems refuse to replace or to remove a file that a process has mapped. Its lock stays.
TEST_F(ConversionTest, NoFileIsReplacedWhileItIsMapped) {
  conversion_step_hook = [](const char* step) {
    if (step == "replace"s || step == "remove"s) {
      EXPECT_EQ(read_file("/proc/self/maps").find("/data/5/ITEM"), std::string::npos) << step;
    }
    return 0;
  };
  EXPECT_EQ(run(), kConversionDone);
}

TEST_F(ConversionTest, AFailingDiskLeavesTheOldFilesOrIsGotOver) {
  struct Row {
    const char* what;
    void (*arm)();
  };
  const Row rows[] = {
      {"step",
       [] { conversion_step_hook = [](const char*) { return --countdown == 0 ? EIO : 0; }; }},
      {"file", [] {
         file_fault_hook = [](FileCall call) {
           return call != FileCall::kLock && --countdown == 0 ? ENOSPC : 0;
         };
       }}};
  for (const Row& row : rows) {
    if (in_cluster() && row.what == "file"s) break;
    countdown = 0;
    for (int call = 1; countdown <= 0; ++call) {
      SCOPED_TRACE(row.what + std::to_string(call));
      make_old_files();
      countdown = call;
      row.arm();
      ConversionReport report;
      const int result = run(report);
      conversion_step_hook = nullptr;
      file_fault_hook = nullptr;
      EXPECT_EQ(result == kConversionFailed, report.problems.size() == 1);
      expect_no_empty_file();
      if (report.files.empty() && result == kConversionFailed &&
          report.problems[0].find("run the conversion again") == std::string::npos)
        expect_old();
      expect_run_converts();
      if (HasFailure()) return;
    }
  }
}

TEST_F(ConversionTest, WhatCannotBeConvertedIsSaidBeforeAnythingChanges) {
  struct Row {
    const char* path;
    std::string text;
    const char* problem;
  };
  const std::string set = "definitions/FILEDATA.DES";
  const std::string older = "definitions/FILEITEM_2.DES";
  const std::string table = "definitions/FILEVER.DES";
  const Row rows[] = {
      {table.c_str(), "ITEM 1 2 0 BOX 1 2 0 END.",
       "ITEM: definitions/FILEVER.DES leads from version 1 -> 2 no further, the definition has 3"},
      {table.c_str(), "ITEM 1 2 0 ITEM 2 1 0 BOX 1 2 0 END.",
       "ITEM: definitions/FILEVER.DES leads in a circle: 1 -> 2 -> 1"},
      {table.c_str(), kTable.substr(0, kTable.size() - 5),
       "definitions/FILEVER.DES:4: seq: unexpected EOF: expected END., found the end of the text"},
      {table.c_str(), "ITEM 1 2.5 0 ITEM 2.5 3 0 BOX 1 2 0 END.",
       "definitions/FILEITEM_2.5.DES: the definition of ITEM version 2.5: No such file or directory"},
      {older.c_str(), kItem1 + "END.",
       "definitions/FILEITEM_2.DES: the definition of ITEM version 2: the set has VERSION 1"},
      {older.c_str(), kItem2,
       "definitions/FILEITEM_2.DES:13: seq: unexpected EOF: expected END., found the end of the text"},
      {"data/5/ITEM.ver", "4\n",
       "ITEM: convert: file version newer than expected (version 4, the definition has 3)"},
      {"data/5/PATHCONV.ver", "5\n",
       "data/5/PATHCONV.ver: convert: path version newer than expected (version 5, required is 4)"},
      {"data/5/ITEM.ver", "",
       "data/5/ITEM: no version record; write the version of its records into data/5/ITEM.ver"},
      {older.c_str(), define("ITEM", 2, "ISAM", "NUMBER INT; TEXT DATE", kItemKeys) + "END.",
       "ITEM version 1 to 2: TEXT: STRING 10 cannot become DATE"},
      {set.c_str(), kItem3 + define("BOX", 2, "KETT", "SNR LONGINT=0", "") + "END.",
       "BOX version 1: chained files cannot be converted"},
      {"definitions/FILEITEM_1.DES",
       define("ITEM", 1, "ISAM", "NUMBER LONGINT; TEXT STRING 10", kItemKeys) + "END.",
       "data/5/ITEM: not as version 1: key 1 differs from its definition"},
  };
  for (const auto& [path, text, problem] : rows) {
    const std::string before = std::filesystem::exists(path) ? read_file(path) : "";
    write_file(path, text);
    ConversionReport report;
    EXPECT_EQ(run(report), kConversionRefused) << problem;
    ASSERT_EQ(report.problems.size(), 1) << problem << report.problems[1];
    EXPECT_EQ(report.problems[0], problem);
    write_file(path, before);
    if (before.empty()) std::filesystem::remove(path);
  }
  expect_old();
}

TEST_F(ConversionTest, RecordsThatDoNotFitStopItAndAreNamed) {
  load({"ITEM_1", "BOX_1"});
  DataFile& item = data_file("ITEM");
  ASSERT_EQ(data_open(item, LockWait::kTell), kDataDone);
  const auto spoil = [&item](int number, const char* field, double value) {
    write_item(number);
    if (field == "NARROW"s) data_put_long(item, field, static_cast<std::int32_t>(value));
    if (field == "WHOLE"s) data_put_double(item, field, value);
    ASSERT_EQ(data_write(item), kDataDone);
  };
  spoil(10, "NARROW", 32'768);
  spoil(11, "WHOLE", 2.5);
  spoil(12, "WHOLE", 32'768);  // too large for the last step only
  spoil(13, "WHOLE", std::numeric_limits<double>::quiet_NaN());
  for (int number = 20; number < 33; ++number) {  // for 21 records with one primary key
    write_item(number);
    ASSERT_EQ(data_write(item), kDataDone);
  }
  ConversionReport report;
  const std::string at = path_of("ITEM") + ": ";
  EXPECT_EQ(run(report), kConversionRefused);
  EXPECT_EQ(report.problems,
            (std::vector<std::string>{at + "NUMBER 10: NARROW: 32768 does not fit INT",
                                      at + "NUMBER 11: WHOLE: 2.5 does not fit LONGINT",
                                      at + "NUMBER 12: WHOLE: 32768 does not fit INT",
                                      at + "NUMBER 13: WHOLE: nan does not fit LONGINT"}));
  expect_old();
  // A primary key that no longer distinguishes the records.
  const std::string keys = "BEGINKEY KEY 1 SEGMENT 1 IS TEXT ENDKEY";
  write_file("definitions/FILEDATA.DES", define("ITEM", 2, "ISAM", "TEXT STRING 2", keys) + "END.");
  EXPECT_EQ(run(report), kConversionRefused);
  ASSERT_EQ(report.problems.size(), 20 + 1);
  EXPECT_EQ(report.problems[0], at + "NUMBER 3: another record gets the same primary key");
  EXPECT_EQ(report.problems[20], at + "and 1 more record");
}

TEST_F(ConversionTest, WhoeverUsesTheDataIsNoticed) {
  {
    const OtherProcess user([] { return path_lock_shared(5) == kDataDone; });
    ASSERT_TRUE(user.ready());
    ConversionReport report;
    EXPECT_EQ(run(report), kConversionLocked);
    EXPECT_NE(
        report.problems.at(0).find(data_directory(5) + ": File locked. CR try again (process "),
        std::string::npos);
    EXPECT_EQ(path_lock_exclusive(6), kDataDone);
  }
  setenv("IS_MULTIUSER", "FALSE", 1);
  settings_read();
  for (const char* name : {"ITEM", "BOX"}) {
    const auto use = [](const std::string& used) {
      definition_set_load(used + "_1");
      return data_open(used, LockWait::kTell) == kDataDone;
    };
    const OtherProcess user(use, name);
    ASSERT_TRUE(user.ready());
    ConversionReport report;
    EXPECT_EQ(run(report), kConversionLocked);
    EXPECT_EQ(report.problems, (std::vector{path_of(name) + ": in use by another process"}));
  }
  expect_old();
  expect_run_converts();
}

TEST_F(ConversionTest, TheHeadingHasTheValuesInItsPlaces) {
  FileConversion conversion;
  conversion.file = &definition_get("ITEM");
  conversion.versions = {1, 2, 12.5};
  EXPECT_EQ(conversion_heading(conversion), "File:ITEM       Path:5    Old:1     New:12.5");
}

}  // namespace marigold::inner::test
