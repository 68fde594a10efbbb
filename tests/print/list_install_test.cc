// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/list_install.h"

#include <cerrno>

#include "runtime/core/settings.h"
#include "runtime/data/access/data_file.h"
#include "runtime/data/access/field_access.h"
#include "runtime/print/files/block_code.h"
#include "runtime/print/files/block_store.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

int countdown = 0;

static StoredBlock block(const std::string& name, const std::string& words) {
  StoredBlock result{.name = name, .same = 'J', .repeat = 3, .footer_lines = 2, .length = 9};
  Instruction text;
  text.code = BlockCode::kText;
  text.text = words;
  encode_block({text}, result.code);
  return result;
}

using Lists = std::vector<StoredList>;

const Lists kOld = {{.name = "A", .blocks = {block("Z", "old Z"), block("B", "old B")}},
                    {.name = "GONE", .blocks = {block("B", "gone")}}};
const Lists kNew = {{.name = "A",
                     .page_length = 60,
                     .start_column = 4,
                     .first_line = 2,
                     .last_line = 58,
                     .pitch = 12,
                     .output_name = "#laser",
                     .abort_text = "Schlu\xDF",
                     .blocks = {block("Z", "a longer text than before"), block("NEW", "new")}},
                    {.name = "B", .blocks = {}}};

struct ListInstallTest : testing::Test {
  ListInstallTest() { start(); }
  ~ListInstallTest() override {
    list_install_step_hook = nullptr;
    data_close_all();
  }

  static void start() {
    settings_read();
    definition_start();
  }
  static bool install(const Lists& lists, const ListFiles& files = kPlainListFiles,
                      std::string* problem = nullptr) {
    std::string reason;
    if (problem == nullptr) problem = &reason;
    ListInstallation installation("print", files);
    return installation.begin(*problem) && installation.put_in_place(lists, *problem);
  }
  static Lists lists(const ListFiles& files = kPlainListFiles) {
    Lists result;
    std::string problem;
    EXPECT_TRUE(list_files_recover("print", files, problem)) << problem;
    EXPECT_TRUE(stored_lists_read("print", files, result, problem)) << problem;
    return result;
  }
  static std::size_t files_in_directory() {
    const auto entries = std::filesystem::directory_iterator("print");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
  }

  WorkDirectory directory;
};

TEST_F(ListInstallTest, BothKindsOfFilesStandSideBySide) {
  ASSERT_TRUE(install(kOld));
  EXPECT_TRUE(lists(kOwnListFiles).empty());
  ASSERT_TRUE(install(kNew, kOwnListFiles));
  EXPECT_EQ(lists(), kOld);
  EXPECT_EQ(lists(kOwnListFiles), kNew);
}

// Installs the new lists in a process that is killed before its n-th step. Returns false if there
// are fewer steps.
static bool killed_at(int step) {
  const auto install_and_die = [](int dies_at) {
    ListInstallTest::start();
    countdown = dies_at;
    list_install_step_hook = [](const char*) {
      if (--countdown == 0) die_now();
      return 0;
    };
    return ListInstallTest::install(kNew);
  };
  const int status = run_child(install_and_die, step);
  EXPECT_TRUE(status == kKilled || status == 0) << status;
  return status == kKilled;
}

TEST_F(ListInstallTest, AKillAtAnyStepLeavesAllListsOldOrNew) {
  int old_ones = 0;
  int new_ones = 0;
  for (int step = 1;; ++step) {
    SCOPED_TRACE(step);
    std::filesystem::remove_all("print");
    ASSERT_TRUE(install(kOld));
    const std::size_t files = files_in_directory();
    const bool killed = killed_at(step);
    const Lists found = lists();
    ++(found == kOld ? old_ones : new_ones);
    EXPECT_TRUE(found == kOld || found == kNew);
    EXPECT_TRUE(killed || found == kNew);
    // The next installation removes all leftovers.
    ASSERT_TRUE(install(found));
    EXPECT_EQ(lists(), found);
    EXPECT_EQ(files_in_directory(), files);
    if (!killed || HasFailure()) break;
  }
  EXPECT_GE(old_ones, 5);  // before anything, with some files, and before the commit file counts
  EXPECT_GE(new_ones, 9);  // seven files, the commit file, and one that nobody kills
}

TEST_F(ListInstallTest, AFailingDiskLeavesTheOldListsOrIsGotOver) {
  for (int step = 1;; ++step) {
    SCOPED_TRACE(step);
    std::filesystem::remove_all("print");
    ASSERT_TRUE(install(kOld));
    countdown = step;
    list_install_step_hook = [](const char*) { return --countdown == 0 ? EIO : 0; };
    std::string problem;
    const bool done = install(kNew, kPlainListFiles, &problem);
    list_install_step_hook = nullptr;
    const bool goes_on = problem.find("the next run installs them") != std::string::npos;
    EXPECT_EQ(done, problem.empty());
    EXPECT_EQ(lists(), done || goes_on ? kNew : kOld);
    if (done || HasFailure()) break;
  }
}

TEST_F(ListInstallTest, DamageIsToldAndOneBadBlockSpoilsNoOther) {
  ASSERT_TRUE(install(kOld));
  write_file("print/DRUCK.BIN", block_store_of("\x15"));  // the first block only, and empty
  const Lists found = lists();
  ASSERT_EQ(found.size(), 2);
  ASSERT_EQ(found[0].blocks.size(), 2);
  EXPECT_EQ(found[0].blocks[0].fault, "");
  EXPECT_EQ(found[0].blocks[1].fault, "its offset lies beyond the end of the block store");

  struct Row {
    const char* file;
    const char* reason;
  };
  const Row rows[] = {{"DRUCK.BIN", "not a block store"},
                      {"BLOECKE.dat", "is damaged, or no keyed file"},
                      {"LISTEN.idx", "is damaged, or no keyed file"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    ASSERT_TRUE(install(kOld));
    write_file(std::string("print/") + row.file, "nonsense");
    Lists none;
    std::string problem;
    EXPECT_FALSE(stored_lists_read("print", kPlainListFiles, none, problem));
    EXPECT_NE(problem.find(row.reason), std::string::npos) << problem;
  }
}

}  // namespace marigold::inner::test
