// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the tests of "marigold data".
#pragma once

#include "runtime/core/settings.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/platform/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

// A work directory with the tool and a definition set of two files, BOX with keys NUMBER and NAME,
// SIZE, and SLOTS by number. Data lies in data/1 and data/2.
struct DataToolTest : testing::Test {
  DataToolTest() {
    for (const char* name : {"DEFINITION_DIRECTORY", "DATA_DIRECTORY", "IS_MULTIUSER"})
      unsetenv(name);
    place_program(MARIGOLD, "marigold");
    std::filesystem::create_directory("definitions");
    write_file(
        "definitions/FILEBOX.DES",
        "BEGINFILE NAME BOX VERSION 2 PATH 1 LEN 40 TYPE ISAM BEGINFIELD\n"
        "FIELD NUMBER TYPE LONGINT PREVAL NIL\n"
        "FIELD NAME TYPE STRING 4 TIMES 2 PREVAL 'x', NIL\n"
        "FIELD KIND TYPE CHAR PREVAL 'K'\n"
        "FIELD RATE TYPE REAL PREVAL 2.5\n"
        "FIELD DAY TYPE DATE PREVAL 010190\n"
        "FIELD AT TYPE TIME PREVAL 0930\n"
        "FIELD SIZE TYPE INT PREVAL -1\n"
        "ENDFIELD BEGINKEY KEY 1 SEGMENT 1 IS NUMBER\n"
        "KEY 2 SEGMENT 1 IS NAME KEY 2 SEGMENT 2 IS SIZE ENDKEY ENDFILE\n"
        "BEGINFILE NAME SLOTS VERSION 1 PATH 2 LEN 8 TYPE RANDOM BEGINFIELD\n"
        "FIELD SNR TYPE LONGINT PREVAL NIL FIELD T TYPE STRING 3 PREVAL NIL ENDFIELD ENDFILE\n"
        "BEGINFILE NAME CHAIN VERSION 1 PATH 2 LEN 8 TYPE KETT BEGINFIELD\n"
        "FIELD A TYPE CHAR PREVAL NIL ENDFIELD ENDFILE END.\n");
  }
  // Defines the files in this process, too.
  static void know_the_files() {
    settings_read();
    definition_start();
    definition_set_load("BOX");
  }
  static void expect(std::initializer_list<Finished> runs) { expect_runs("./marigold data", runs); }
  // For a file BOX of which both cannot be read.
  static void expect_unread_version_and_holders() {
    for (const auto& [option, version, holders] :
         {std::tuple{"", "2 defined, written not known: ", "class 1   not known: "},
          {" --json", "\"version_written\":null,\"version_problem\":\"",
           "\"holders\":null,\"holders_problem\":\""}}) {
      const Finished info = run_shell("./marigold data info BOX"s + option);
      EXPECT_EQ(info.status, 1);
      EXPECT_NE(info.out.find(version), std::string::npos) << info.out << info.err;
      EXPECT_NE(info.out.find(holders), std::string::npos) << info.out;
    }
  }

  WorkDirectory directory;
};

// The end of a message about a file that this process holds, where the system names holders.
inline std::string this_process() {
  return names_lock_holders() ? " (process " + std::to_string(process_number()) + ")" : "";
}

// Lines to load into BOX, of these numbers.
inline std::string box_numbers(int first, int last) {
  std::string lines = "NUMBER\n";
  for (int number = first; number <= last; ++number)
    lines += std::to_string(number) + "\n";
  return lines;
}

inline const std::string kBoxHeader = "NUMBER,NAME[1],NAME[2],KIND,RATE,DAY,AT,SIZE\n";

}  // namespace marigold::inner::test
