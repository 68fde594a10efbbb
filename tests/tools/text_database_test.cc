#include "tools/text_database.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>

#include "runtime/texte/text_store.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

struct TextDatabaseTest : testing::Test {
  static std::vector<TextRecord> texts(std::string_view greeting) {
    return {{std::string("GREET\0", 6), std::string(greeting) + '\0'}};
  }
  bool write(std::string_view greeting) {
    return text_database_write("new/textdb", texts(greeting), reason);
  }
  static std::string greeting() {
    TextStore store;
    return store.open("new/textdb") ? store.fetch("GREET") : "";
  }
  static std::vector<std::string> files() {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator("new"))
      names.push_back(file.path().filename().string());
    std::ranges::sort(names);
    return names;
  }
  const std::vector<std::string> both_files = {"textdb.dir", "textdb.pag"};

  test::WorkDirectory directory;
  std::string reason;
};

TEST_F(TextDatabaseTest, AReaderKeepsWhatItHasOpened) {
  ASSERT_TRUE(write("old")) << reason;
  TextStore reader;
  ASSERT_TRUE(reader.open("new/textdb"));
  std::filesystem::permissions("new/textdb.pag", std::filesystem::perms::owner_read);
  ASSERT_TRUE(write("new")) << reason;
  EXPECT_STREQ(reader.fetch("GREET"), "old");
  EXPECT_EQ(greeting(), "new");
  EXPECT_EQ(files(), both_files);
  EXPECT_EQ(std::filesystem::status("new/textdb.pag").permissions(),
            std::filesystem::perms::owner_read);
}

TEST_F(TextDatabaseTest, AStopThatIsAskedForMeanwhileLeavesTheOldDatabase) {
  ASSERT_TRUE(write("old")) << reason;
  sigset_t terminate;
  sigemptyset(&terminate);
  sigaddset(&terminate, SIGTERM);
  sigprocmask(SIG_BLOCK, &terminate, nullptr);
  raise(SIGTERM);
  EXPECT_FALSE(write("new"));
  EXPECT_EQ(reason, "new/textdb: Interrupted system call");
  signal(SIGTERM, SIG_IGN);  // forgets the one that waits
  raise(SIGTERM);            // and this one is nobody's wish
  sigprocmask(SIG_UNBLOCK, &terminate, nullptr);
  EXPECT_EQ(greeting(), "old");
  EXPECT_EQ(files(), both_files);
  EXPECT_TRUE(write("new")) << reason;
  signal(SIGTERM, SIG_DFL);
}

TEST_F(TextDatabaseTest, WhatCannotBePutInPlaceLeavesNoTemporaries) {
  std::filesystem::create_directories("new/textdb.pag/inside");
  EXPECT_FALSE(write("new"));
  EXPECT_EQ(reason, "new/textdb.pag: Is a directory");
  EXPECT_EQ(files(), both_files);
  test::write_file("file", "");
  EXPECT_FALSE(text_database_write("file/textdb", texts("x"), reason));
  EXPECT_EQ(reason.substr(0, 5), "file:");
}

TEST_F(TextDatabaseTest, ADatabaseWithoutItsCompanionIsReadAndNotTouched) {
  test::write_textdb("new/textdb", {{"GREET", "by another writer"}});
  std::filesystem::remove("new/textdb.dir");
  std::vector<TextRecord> records;
  ASSERT_TRUE(text_database_read("new/textdb", records, reason)) << reason;
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].value, texts("by another writer")[0].value);
  EXPECT_EQ(files(), std::vector<std::string>{"textdb.pag"});
}

TEST_F(TextDatabaseTest, DamageIsReportedWithTheFile) {
  ASSERT_TRUE(write("whole")) << reason;
  const std::string whole = test::read_file("new/textdb.pag");
  for (const std::size_t length : {0UL, 1UL, 100UL, 4096UL, whole.size() / 2}) {
    test::write_file("new/textdb.pag", whole.substr(0, length));
    std::vector<TextRecord> records;
    EXPECT_FALSE(text_database_read("new/textdb", records, reason)) << length;
    EXPECT_TRUE(reason.starts_with("new/textdb.pag: ")) << reason;
  }
}

}  // namespace
}  // namespace marigold
