// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/data/support.h"

#include <thread>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/change_journal.h"
#include "runtime/data/access/lock_file.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/isam/common/change_step.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/process.h"
#include "runtime/texte/syserr.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {

std::string (*new_data_place)() = [] {
  std::filesystem::remove_all("data");
  return "data/%p"s;
};

void (*forget_the_dead)() = [] {};

void begin_data() {
  setenv("DATA_DIRECTORY", new_data_place().c_str(), 1);
  settings_read();
}

bool in_cluster() {
  return is_cluster_address(data_directory(0));
}

std::set<std::string> data_files_in(int path_class) {
  std::set<std::string> found;
  if (in_cluster()) {
    std::vector<std::string> names;
    EXPECT_EQ(islist(data_directory(path_class), names), 0);
    found.insert(names.begin(), names.end());
    return found;
  }
  for (const auto& entry : std::filesystem::directory_iterator(data_directory(path_class)))
    found.insert(entry.path().filename().string());
  return found;
}

std::string read_record(const std::string& path) {
  std::string text;
  return !in_cluster() ? read_file(path) : istext_read(path, text) == 0 ? text : "";
}

void write_record(const std::string& path, const std::string& text) {
  if (in_cluster()) {
    EXPECT_EQ(istext_write(path, text), 0);
  } else {
    std::filesystem::create_directories(data_path_directory(path));
    write_file(path, text);
  }
}

static void remove(IsExchange::Kind kind, const std::string& path) {
  const IsExchange step{.kind = kind, .from = path};
  EXPECT_TRUE(in_cluster() ? isexchange({&step, 1}) == 0 : std::filesystem::remove(path)) << path;
}

void remove_data_file(const std::string& path) {
  if (in_cluster()) {
    EXPECT_TRUE(data_files_in(5).contains(cluster_file_name(path))) << path;
  }
  remove(IsExchange::Kind::kRemove, path);
}

void remove_record(const std::string& path) {
  remove(IsExchange::Kind::kRemoveText, path);
}

void begin_process() {
  definition_start();
  path_lock_start();
  user_interface_start();
  syserr_start();
  clock_sleep_hook = nullptr;
  settings_read();
  definition_add(customer());
  definition_add(stock());
}

FileDefinition customer() {
  DefinitionScan scan = scan_definitions(
      "BEGINFILE NAME CUSTOMER VERSION 3 PATH 4 LEN 42 TYPE ISAM BEGINFIELD "
      "FIELD SNR TYPE LONGINT PREVAL NIL FIELD NAME TYPE STRING 10 PREVAL NIL "
      "FIELD ZONE TYPE INT TIMES 3 PREVAL 7,NIL,-1 FIELD RATE TYPE REAL PREVAL 2.5 "
      "FIELD KIND TYPE CHAR PREVAL 'x' FIELD SINCE TYPE DATE PREVAL NIL ENDFIELD "
      "BEGINKEY KEY 1 SEGMENT 1 IS SNR KEY 2 SEGMENT 1 IS NAME ENDKEY ENDFILE END.",
      AfterScanError::kStop);
  return std::move(*scan.files.at(0).definition);
}

FileDefinition stock() {
  FileDefinition file = customer();
  file.name.assign_cut("STOCK");
  file.type = FileType::kRandom;
  file.path_class = 12;
  file.keys = {};
  file.index_fields();
  return file;
}

DataTest::DataTest() {
  begin_data();
  setenv("IS_MULTIUSER", "TRUE", 1);
  begin_process();
}

DataTest::~DataTest() {
  data_close_all();
  path_lock_start();
  user_interface_start();
  clock_sleep_hook = nullptr;
}

void die_later(long steps) {
  if (!in_cluster()) return die_at(steps);
  std::thread([steps] {
    sleep_us(100 * steps);
    die_now();
  }).detach();
}

void die_when_recorded(const std::string& directory) {
  static std::string journal;
  journal = directory + "/" + kChangeJournal;
  isam::change_step_hook = [] {
    JournalPart part;
    if (journal_parse(read_file(journal), part) == JournalState::kWhole) die_now();
  };
}

void answer_and_stay(bool result) {
  write_file("answer", result && !testing::Test::HasFailure() ? "y" : "n");
  for (;;)
    sleep_us(100'000);
}

void OtherProcess::wait_for_answer() {
  std::string answer;
  while (answer.empty() && child_.is_running()) {
    sleep_us(200);
    answer = read_file("answer");
  }
  ready_ = answer == "y";
}

void OtherProcess::kill_at_next_sleep(int seconds) {
  static OtherProcess* victim;
  static int expected;
  victim = this;
  expected = seconds;
  clock_sleep_hook = [](int slept) {
    EXPECT_EQ(slept, expected);
    victim->kill_it();
  };
}

std::string holders() {
  std::vector<LockHolder> found;
  EXPECT_EQ(lock_file_holders(4, found), 0);
  std::string letters;
  for (const LockHolder& holder : found) {
    EXPECT_EQ(holder.host, host_name().substr(0, 40));
    const bool own = holder.process == process_number();
    letters += holder.exclusive ? (own ? "X" : "x") : (own ? "S" : "s");
  }
  return letters;
}

void fill(DataFile& file, int number, std::string_view name) {
  data_clear_record(file);
  data_put_long(file, "SNR", number);
  data_put_text(file, "NAME", name);
}

int write(DataFile& file, int number, std::string_view name) {
  fill(file, number, name);
  return data_write(file);
}

int read(DataFile& file, int number, bool lock, LockWait wait) {
  fill(file, number);
  return data_read(file, 1, lock, wait);
}

}  // namespace marigold::inner::test
