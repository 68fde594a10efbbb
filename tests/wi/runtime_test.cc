// SPDX-License-Identifier: GPL-3.0-or-later
// A full application from its start to its end, and the display for administrators.

#include "marigold/application.h"

#include "marigold/windows.h"
#include "runtime/application/key_statistics.h"
#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/wi/terminal/terminal.h"
#include "tests/support/process.h"
#include "tests/support/recording_console.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

constexpr const char* kKeyDatabase =
    "BEGINFILE NAME TASTENDB VERSION 1 PATH 1 LEN 30 TYPE ISAM\n"
    "BEGINFIELD FIELD HELPID TYPE STRING 8 PREVAL NIL\n"
    "FIELD TASTEN TYPE INT TIMES 9 PREVAL 0,0,0,0,0,0,0,0,0 ENDFIELD\n"
    "BEGINKEY KEY 1 SEGMENT 1 IS HELPID ENDKEY ENDFILE END.\n";

TEST(RuntimeTest, KeyStatisticsCountOverTheKeyDatabase) {
  const WorkDirectory directory;
  recording_reset();
  terminal_reset(&recording_console());
  definition_start();
  setenv("DEFINITION_DIRECTORY", ".", 1);
  errors_of([] { runtime_start("test"); });
  key_statistics();  // without the database nothing is shown, and no key is read
  EXPECT_FALSE(recording().keyboard_lost);

  write_file("FILEKEYS.DES", kKeyDatabase);
  definition_set_load("KEYS");
  DataFile& file = data_file("TASTENDB");
  ASSERT_EQ(data_open(file, LockWait::kTell), kDataDone);
  const int keys[3][3] = {{2, 1, 0}, {3, 2, 0}, {0, 0, -1}};
  for (int record = 0; record < 3; ++record) {
    data_clear_record(file);
    data_put_text(file, "HELPID", "_H" + std::to_string(record) + "_");
    for (int key = 0; key < 3; ++key)
      data_put_integer(file, "TASTEN", static_cast<std::int16_t>(keys[record][key]), key + 1);
    ASSERT_EQ(data_write(file), kDataDone);
  }
  data_close(file);

  recording().type("x\r");
  static bool shown = false;
  Console watching = recording_console();
  watching.read_key = [] {
    shown = recording().text(7, 22, 31) == "Eingabefelder:      2  (     3)" &&
            recording().text(9, 22, 31) == "Tasten       :      3  (     4)";
    return recording_console().read_key();
  };
  terminal_reset(&watching);
  key_statistics();
  EXPECT_TRUE(shown);
  EXPECT_EQ(wi_active(), kNoWindow);
  runtime_end();
  runtime_end();
  EXPECT_NE(read_file("pstatus.tmp").find("EXIT     =OK"), std::string::npos);
  EXPECT_FALSE(open_subsystems().window_system);
  unsetenv("DEFINITION_DIRECTORY");
  definition_start();
  user_interface_start();
}

TEST(RuntimeTest, ASentenceStandsBeforeTheReportOfASystemError) {
  const WorkDirectory directory;
  recording_reset();
  terminal_reset(&recording_console());
  const auto fail = [](const char* advice, int number) {
    setenv("LC_ALL", "de_AT.UTF-8", 1);
    runtime_start("test");
    runtime_explain_faults(advice);
    user_interface().fatal(number);
  };
  const struct {
    const char* advice;
    int number;
    const char* written;
  } cases[] = {{"Pr\xFC"
                "fen Sie die Platte (%s).",
                1028,
                "Pr\xC3\xBC"
                "fen Sie die Platte \\(No space left on device\\)\\.\n.*error"},
               {"Pr\xFC"
                "fen Sie %s.",
                23, "fen Sie \\w+.*\\.\n.*error\n +23"},
               {nullptr, 23, "8859'\nerror\n +23"}};
  for (const auto& [advice, number, written] : cases)
    EXPECT_EXIT(fail(advice, number), aborted, written);
}

TEST(RuntimeTest, TellsWhatIsMissingBesideTheProgram) {
  const WorkDirectory directory;
  for (const char* name : {"locale/default", "definitions", "print"})
    std::filesystem::create_directories(name);
  write_textdb("locale/default/textdb", {{"SHOP.TITLE", "A shop"}});
  write_file("definitions/FILESHOP.DES", "END.");
  for (const char* name :
       {"DEFAULT.DAT", "LISTEN.dat", "LISTEN.idx", "BLOECKE.dat", "BLOECKE.idx", "ILISTEN.dat"})
    write_file(std::string("print/") + name, "");
  const Surroundings all = {
      .program = "shop", .text_id = "SHOP.TITLE", .definition_set = "SHOP", .lists = true};
  EXPECT_EQ(runtime_missing(all), "");
  const struct {
    const char* variable;
    const char* directory;
    const char* sentence;
  } cases[] = {{"LANGUAGE_SEARCHPATH", "none/%N", "shop: No text database with the texts"},
               {"DEFINITION_DIRECTORY", "none", "shop: none has no FILESHOP.DES."},
               {"PRINT_DIRECTORY", "none", "shop: The lists are missing in none."}};
  for (const auto& [variable, value, sentence] : cases) {
    setenv(variable, value, 1);
    const std::string missing = runtime_missing(all);
    EXPECT_TRUE(missing.starts_with(sentence)) << missing;
    EXPECT_NE(missing.find(std::string(", or set ") + variable), std::string::npos) << missing;
    EXPECT_EQ(runtime_missing({.program = "shop"}), "");
    unsetenv(variable);
  }
  std::filesystem::remove("print/BLOECKE.idx");
  EXPECT_NE(runtime_missing(all), "");
}

}  // namespace
}  // namespace marigold::inner::test
