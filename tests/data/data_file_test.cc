// SPDX-License-Identifier: GPL-3.0-or-later
// Keyed and random files through the calls that serve both, and fatal errors of keyed files.

#include "runtime/data/access/data_file.h"

#include <vector>

#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/restore_journal.h"
#include "runtime/data/access/version.h"
#include "runtime/isam/local/file.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/mapped_file.h"
#include "tests/data/support.h"

namespace marigold::inner::test {
namespace {

// Returns the next, previous, first ... record by a key: its number, or the result.
std::string step(DataFile& file, char way, int key) {
  const int result = way == 'n'   ? data_read_next(file, key)
                     : way == 'p' ? data_read_previous(file, key)
                     : way == 'f' ? data_read_first(file, key)
                     : way == 'l' ? data_read_last(file, key)
                                  : data_read_from(file, key);
  return result == 0 ? std::to_string(data_get_long(file, "SNR")) : "-";
}

std::string steps(DataFile& file, std::string_view ways, int key = 1) {
  std::string delivered;
  for (const char way : ways)
    delivered += step(file, way, key) + " ";
  return delivered;
}

int open(const char* name, LockWait wait = LockWait::kTell) {
  return data_open(name, wait);
}

// Both kinds of files behave alike.
struct BothKinds : DataTest, testing::WithParamInterface<const char*> {
  DataFile& file = data_file(GetParam());
};
INSTANTIATE_TEST_SUITE_P(Kinds, BothKinds, testing::Values("CUSTOMER", "STOCK"));

TEST_P(BothKinds, AMissingFileIsMadeWithItsVersion) {
  const std::string record = version_file_record(data_path(file));
  EXPECT_EQ(open(GetParam()), kDataDone);
  EXPECT_EQ(read_record(record), "3\n");
  const bool keyed = file.definition.type == FileType::kIsam;
  EXPECT_TRUE(data_files_in(file.definition.path_class)
                  .contains(GetParam() + (keyed == in_cluster() ? ""s
                                          : keyed               ? ".idx"
                                                                : ".random")))
      << *data_files_in(file.definition.path_class).begin();
  EXPECT_EQ(data_get_double(file, "RATE"), 2.5);  // presets from the start
  EXPECT_EQ(open(GetParam()), kDataAlreadyOpen);
  EXPECT_EQ(write(file, 8, "eight"), 0);
  data_close(file);
  data_close(file);
  EXPECT_TRUE(file.record.empty());
  remove_record(record);
  EXPECT_EQ(open(GetParam()), kDataDone);
  EXPECT_EQ(version_read_file(file), -3);  // made only with the file
  EXPECT_EQ(read(file, 8), 0);
  EXPECT_EQ(data_get_text(file, "NAME"), "eight");
}

TEST_P(BothKinds, RecordsAreWrittenReplacedAndDeleted) {
  open(GetParam());
  EXPECT_EQ(write(file, 2, "two"), 0);
  EXPECT_EQ(write(file, 2, "deux"), 0);
  EXPECT_EQ(read(file, 2), 0);
  EXPECT_EQ(data_get_text(file, "NAME"), "deux");
  for (const int result : {0, 3, 3}) {  // a missing record counts as deleted
    fill(file, 2, "kept");
    EXPECT_EQ(data_exists(file, 1), result);
    EXPECT_EQ(data_get_text(file, "NAME"), "kept");
    EXPECT_EQ(data_delete(file), 0);
  }
  EXPECT_EQ(data_read(file, 1, false, LockWait::kTell), 3);
  EXPECT_EQ(data_get_text(file, "NAME"), "");
  EXPECT_EQ(data_get_integer(file, "ZONE", 3), -1);
  EXPECT_EQ(file.record.back(), 0);
  EXPECT_EQ(read(file, -1), 3);
  EXPECT_EQ(steps(file, "flnpg"), "- - - - - ");
}

TEST_P(BothKinds, PositionedReadsPassOverWhatIsNotThere) {
  open(GetParam());
  for (const int number : {30, 10, 20})
    write(file, number, std::to_string(90 - number));
  for (const int number : {5, 15, 40})  // locked without a record; keyed files keep a placeholder
    EXPECT_EQ(read(file, number, true), 3);
  write(file, 35);
  fill(file, 35);
  data_delete(file);
  using Row = std::pair<const char*, const char*>;
  for (const auto& [ways, delivered] :
       {Row("fnnn", "10 20 30 - "), Row("lppp", "30 20 10 - "), Row("lnpp", "30 - 30 20 "),
        Row("lnnpn", "30 - - 30 - "), Row("fppn", "10 - - 10 "), Row("fnp", "10 20 10 ")})
    EXPECT_EQ(steps(file, ways), delivered) << ways;
  for (const auto& [from, delivered] :
       {std::pair{-3, "10 20 "}, {10, "10 20 "}, {11, "20 30 "}, {30, "30 - "}, {31, "- - "}}) {
    fill(file, from);
    EXPECT_EQ(steps(file, "gn"), delivered) << from;
  }
  // At the end the file stands at its last record, and sees records that another process adds.
  EXPECT_EQ(steps(file, "ln"), "30 - ");
  const auto add = [](const std::string& name) {
    return open(name.c_str()) == 0 && write(data_file(name), 50) == 0;
  };
  EXPECT_TRUE(elsewhere(add, GetParam()));
  EXPECT_EQ(steps(file, "n"), "50 ");
  EXPECT_EQ(steps(file, "n"), "- ");
  fill(file, 50);
  data_delete(file);
  EXPECT_EQ(steps(file, "p"), "30 ");  // another process has deleted the last one
}

TEST_P(BothKinds, LocksOfRecordsHoldBetweenProcesses) {
  open(GetParam());
  write(file, 10, "ten");
  EXPECT_EQ(read(file, 10, true), 0);
  EXPECT_EQ(read(file, 15, true), 3);  // a number that has no record yet
  const auto results_elsewhere = [] {
    const auto body = [](const std::string& name) {
      std::string results;
      DataFile& other = data_file(name);
      data_open(other, LockWait::kTell);
      for (const int number : {10, 15}) {
        for (const bool lock : {false, true})
          results += std::to_string(read(other, number, lock, LockWait::kTell));
        results += std::to_string(write(other, number, "other"));
        results += std::to_string(data_delete(other));
      }
      write_file("results", results);
      return true;
    };
    EXPECT_TRUE(elsewhere(body, GetParam()));
    return read_file("results");
  };
  EXPECT_EQ(results_elsewhere(), "04443444");
  EXPECT_EQ(write(file, 15, "mine"), 0);
  EXPECT_EQ(read(file, 15), 0);
  data_release(file);
  EXPECT_EQ(results_elsewhere(), "00000000");
}

TEST_P(BothKinds, LockedFilesAndRecordsAreWaitedForAsWanted) {
  static OtherProcess* holder;
  static int sleeps;
  clock_sleep_hook = [](int seconds) {
    sleeps += seconds;
    if (sleeps == 2) holder->kill_it();
  };
  const std::string name = GetParam();
  struct Row {
    LockWait wait;
    bool answer;
    int result, sleeps, messages;
  };
  for (const bool reading : {false, true}) {
    const std::string message =
        name + (reading ? " record lock active       \n" : " file lock active         \n");
    for (const Row& row :
         {Row{LockWait::kTell, false, 4, 0, 1}, Row{LockWait::kAsk, false, 4, 1, 1},
          Row{LockWait::kAsk, true, 0, 2, 2}, Row{LockWait::kTellAndWait, false, 0, 2, 2},
          Row{LockWait::kWait, false, 0, 2, 0}}) {
      data_close(file);
      const auto hold = [](const std::string& held_name, bool record) {
        DataFile& held = data_file(held_name);
        return data_open(held, LockWait::kTell, !record) == 0 && write(held, 1) == 0 &&
               (!record || read(held, 1, true) == 0);
      };
      OtherProcess other(hold, name, reading);
      ASSERT_TRUE(other.ready());
      holder = &other;
      sleeps = 0;
      user_interface_start();
      if (row.answer) {
        user_interface().ask_for_lock = [](const char* text, const char* help_key) {
          EXPECT_STREQ(help_key, "__lock_");
          user_interface().wait_for_lock(text);
          return true;
        };
      }
      int result = 0;
      const std::string errors = errors_of([&] {
        result = open(name.c_str(), row.wait);
        if (reading && result == 0) result = read(file, 1, true, row.wait);
      });
      holder = nullptr;
      EXPECT_EQ(result, row.result) << message << sleeps;
      EXPECT_EQ(sleeps, row.sleeps) << message;
      EXPECT_EQ(errors, row.messages == 0 ? "" : row.messages == 1 ? message : message + message);
    }
  }
}

TEST_P(BothKinds, ManyProcessesMakeAndFillOneFile) {
  constexpr int kProcesses = 4;
  const auto fill_many = [](const std::string& name, int start) {
    begin_process();
    const Shared<std::atomic<int>> ready("ready");
    ++*ready;
    while (*ready < kProcesses)
      sleep_us(100);
    clock_sleep_hook = [](int) { sleep_us(1000); };
    DataFile& own = data_file(name);
    bool done = data_open(own, LockWait::kWait) == 0;
    // Random files assign the numbers themselves.
    for (int i = 0; i < 1000 && done; ++i)
      done = write(own, own.definition.type == FileType::kIsam ? start + i : 0, "name") == 0;
    data_close(own);
    return done;
  };
  const Shared<std::atomic<int>> ready("ready");
  std::vector<Process> children;
  for (int child = 0; child < kProcesses; ++child)
    children.push_back(start_child(fill_many, GetParam(), 1000 * child));
  expect_done(children);
  ASSERT_EQ(open(GetParam()), 0);
  int count = 0;
  for (int result = data_read_first(file, 1); result == 0; result = data_read_next(file, 1))
    ++count;
  EXPECT_EQ(count, 4000);
}

TEST_F(DataTest, ASecondaryKeyFindsOnlyItsValue) {
  DataFile& file = data_file("CUSTOMER");
  data_open(file, LockWait::kTell);
  for (const auto& [number, name] : {std::pair{1, "m"}, {2, "c"}, {3, "m"}, {4, "x"}})
    write(file, number, name);
  for (const auto& [name, result, number] :
       {std::tuple{"m", 0, 1}, {"d", 3, 0}, {"c", 0, 2}, {"z", 3, 0}}) {
    fill(file, 0, name);
    EXPECT_EQ(data_read(file, 2, false, LockWait::kTell), result) << name;
    EXPECT_EQ(data_get_long(file, "SNR"), number) << name;
  }
  fill(file, 0, "m");
  EXPECT_EQ(steps(file, "gnnnp", 2), "1 3 4 - 4 ");
  EXPECT_EQ(steps(file, "fl", 2), "2 4 ");
  fill(file, 0, "c");
  EXPECT_EQ(data_read(file, 2, true, LockWait::kTell), 0);
  EXPECT_TRUE(elsewhere([] {
    DataFile& other = data_file("CUSTOMER");
    data_open(other, LockWait::kTell);
    fill(other, 0, "c");
    return data_read(other, 2, true, LockWait::kTell) == 4 && read(other, 2) == 0;
  }));
  // After the end by one key, a turn by another key starts from the record's value.
  EXPECT_EQ(steps(file, "ln", 2), "4 - ");
  fill(file, 3);
  EXPECT_EQ(steps(file, "p", 1), "2 ");
  const int forgotten = file.engine.descriptor;
  is_flush_and_forget(file);
  EXPECT_EQ(file.engine.descriptor, -1);
  EXPECT_EQ(ISCLOSE(forgotten), 0);
  file.open = false;
}

TEST_F(DataTest, AFileWhoseMakerDiedIsFinished) {
  const FileDefinition half = customer();
  DataFile& file = data_file("CUSTOMER");
  data_make_directory(4);
  ISCLOSE(ISBUILD(data_path(file).c_str(), 42, isam_key(half, 1), kIsInputOutput | kIsExclusive));
  ASSERT_EQ(open("CUSTOMER"), 0);
  IsamInfo info;
  ASSERT_EQ(isinfo(file.engine.descriptor, info), 0);
  EXPECT_EQ(info.key_count, 2);
  EXPECT_EQ(info.record_count, 0);
  write(file, 1, "one");
  fill(file, 0, "one");
  EXPECT_EQ(data_read(file, 2, false, LockWait::kTell), 0);
  data_delete(file);
  if (in_cluster()) return;
  ASSERT_EQ(isinfo(file.engine.descriptor, info), 0);
  EXPECT_EQ(info.deleted_count, 1);
  EXPECT_EQ(info.data_bytes, std::filesystem::file_size("data/4/CUSTOMER.dat"));
}

// A process dies at each system call that makes a file, and at each step of its keys: the next
// process that opens the file finds or makes a whole one, with its version.
TEST_P(BothKinds, AFirstOpenThatIsKilledAnywhereIsFinished) {
  static int calls_left = 0;
  bool died = true;
  for (int call = 0; died; ++call) {
    std::filesystem::remove_all("data");
    const auto open_and_die = [](const std::string& name, int after) {
      calls_left = after;
      isam::change_step_hook = [] {
        if (calls_left-- == 0) die_now();
      };
      file_fault_hook = [](FileCall) {
        isam::change_step_hook();
        return 0;
      };
      return data_open(name, LockWait::kTell) == kDataDone;
    };
    died = !elsewhere(open_and_die, GetParam(), call);
    ASSERT_EQ(open(GetParam()), kDataDone) << call;
    EXPECT_EQ(version_read_file(file), 3) << call;
    EXPECT_EQ(write(file, 1, "one"), 0) << call;
    data_close(file);
  }
}

// The same between the file and its version record.
TEST_P(BothKinds, AFileWithoutRecordsGetsTheVersionThatItLacks) {
  ASSERT_EQ(open(GetParam()), kDataDone);
  data_close(file);
  remove_record(version_file_record(data_path(file)));
  ASSERT_EQ(open(GetParam()), kDataDone);
  EXPECT_EQ(version_read_file(file), 3);
  data_close(file);
}

TEST_P(BothKinds, RecordsOfAnotherVersionEndTheProgram) {
  ASSERT_EQ(open(GetParam()), kDataDone);
  EXPECT_EQ(write(file, 1, "one"), 0);
  data_close(file);
  for (const auto& [version, number] : {std::pair{2.0, "105"}, {4.0, "40"}}) {
    version_write_file(file, version);
    EXPECT_EQ(data_check_version(file), std::stoi(number));
    EXPECT_EXIT(open(GetParam()), aborted,
                std::string(GetParam()) + ": its records have version " + version_text(version) +
                    ", the definition has version 3\nerror\n +" + number);
  }
  for (const double harmless : {3.0, -1.0}) {  // or no record at all
    harmless < 0 ? remove_record(version_file_record(data_path(file)))
                 : version_write_file(file, harmless);
    EXPECT_EQ(data_check_version(file), kDataDone);
  }
}

// A journal of another run, or of other files, does not concern this file.
TEST_P(BothKinds, AFileThatIsHalfRestoredEndsTheProgram) {
  const std::string journal =
      data_directory(definition_get(GetParam()).path_class) + "/" + kRestoreJournal;
  const std::string name = GetParam();
  const std::string head = "run\n" + journal + "\nold ";
  ASSERT_EQ(open(GetParam()), kDataDone);
  data_close(file);
  for (const std::string& harmless :
       {head + name, head + name + "X.dat\nend\n", "run\nelsewhere\nold " + name + "\nend\n"}) {
    write_file(journal, harmless);
    EXPECT_EQ(open(GetParam()), kDataDone) << harmless;
    data_close(file);
  }
  write_file(journal,
             head + name + (file.definition.type == FileType::kIsam ? ".dat" : "") + "\nend\n");
  EXPECT_EXIT(open(GetParam()), aborted, name + ": a restore or a copy of it was interrupted");
}

using File = DataFile;

struct Own {
  FileDefinition definition = customer();
  File file{definition};
  Own() { definition.index_fields(); }
};

File& opened(File& file) {
  data_open(file, LockWait::kTell);
  return file;
}

TEST_F(DataTest, WhatNobodyCanResolveEndsTheProcess) {
  data_close(opened(data_file("CUSTOMER")));
  struct Row {
    void (*change)(Own& own);  // then the file is opened
    const char* said;
    int number;
  };
  static bool made = false;
  // The last two spoil the file.
  for (const Row& row : std::initializer_list<Row>{
           {[](Own& own) { own.definition.record_length = 50; },
            "data/4/CUSTOMER: its record length is 42, the definition has 50\n\nstr: data/4/C",
            105},
           {[](Own& own) { own.definition.keys.key_count = 1; },
            "its number of keys is 2, the definition has 1\n\nstr: d", 105},
           {[](Own& own) { own.definition.keys.keys[1].segments[0].length = 9; },
            "key 2 differs from its definition\n\nstr: d", 105},
           {[](Own& own) { own.file.read_only = true, own.definition.path_class = 5; },
            "^\nstr: data/5/C", 1002},
           {[](Own& own) { own.file.explicit_path = "none/such"; }, "^\nstr: make_isam\n", 1002},
           {[](Own& own) { make_isam(own.file, "data/4/CUSTOMER", made); }, "^\nstr: make_isam\n",
            1017},
           {[](Own& own) { own.definition.type = FileType::kChained; }, "^CUSTOMER: chained files",
            16},
           {[](Own& own) { own.definition.type = static_cast<FileType>(3); }, "^Unknown FileType\n",
            2},
           {[](Own& own) { own.definition.record_length = 33; },
            "^CUSTOMER: LEN must be at least 34", 19},
           {[](Own& own) { own.definition.record_length = 0; }, "^", 33},
           {[](Own&) { data_open("NONE", LockWait::kTell); }, "^", 1},
           {[](Own& own) { is_readnext(own.file, 1); }, "^\nstr: is_readnext\n", 101},
           {[](Own& own) { is_read(opened(own.file), 3, false); }, "^\nstr: is_read\n", 103},
           {[](Own& own) { own.file.read_only = true, is_write(opened(own.file)); },
            "^\nstr: write\n", 101},
           {[](Own& own) { data_clear_record(own.file); }, "^\nstr: CUSTOMER\n", 101},
           {[](Own& own) { data_get_long(opened(own.file), "NONE"); }, "^", 2},
           {[](Own& own) { data_put_long(opened(own.file), "NAME", 1); }, "^", 3},
           {[](Own& own) { data_get_integer(opened(own.file), "ZONE", 4); }, "^", 4},
           {[](Own&) { write_file("data/4/CUSTOMER.idx", "x"); }, "^\nstr: data/4/C", 105},
           {[](Own&) { unlink("data/4/CUSTOMER.idx"); }, "^\nstr: make_isam\n", 1017}}) {
    const std::string number = std::to_string(row.number) + "\n";
    std::string report(row.said);
    if (!report.ends_with('\n') && report != "^") report += ".*\n";
    report.append("error\n").append(11 - number.size(), ' ').append(number);
    EXPECT_EXIT(
        {
          Own own;
          row.change(own);
          opened(own.file);
        },
        aborted, testing::ContainsRegex(report))
        << report;
  }
  write_file("file", "");
  setenv("DATA_DIRECTORY", "file/%p", 1);
  EXPECT_FALSE(elsewhere([] { return open("STOCK") == 0; }));  // no directory can be made there
  EXPECT_EQ(read_file("file"), "");
}

TEST_F(DataTest, ARandomFileHasItsRecordsInTheirPlaces) {
  DataFile& file = data_file("STOCK");
  file.explicit_path = "elsewhere";
  ASSERT_EQ(data_open(file, LockWait::kTell), 0);
  write(file, 3, "three");
  EXPECT_EQ(write(file, 0, "four"), 0);
  EXPECT_EQ(data_get_long(file, "SNR"), 4);
  fill(file, 3);
  data_delete(file);
  const std::string bytes = read_file("elsewhere");
  ASSERT_EQ(bytes.size(), 4U * 42);
  EXPECT_EQ(bytes.substr(0, 84), std::string(84, '\0'));
  EXPECT_EQ(bytes.substr(84, 9), "\0\0\0\3three"s);
  EXPECT_EQ(bytes[3 * 42 - 1], 1);
  EXPECT_EQ(bytes.substr(126, 8), "\0\0\0\4four"s);
  EXPECT_EQ(read_file("elsewhere.ver"), "3\n");
  EXPECT_FALSE(std::filesystem::exists("data"));
  // A record that was cut off is no record, and the next one gets its place.
  std::filesystem::resize_file("elsewhere", 160);
  EXPECT_EQ(steps(file, "f"), "- ");
  EXPECT_EQ(write(file, 0, "new"), 0);
  EXPECT_EQ(data_get_long(file, "SNR"), 4);
}

}  // namespace
}  // namespace marigold::inner::test
