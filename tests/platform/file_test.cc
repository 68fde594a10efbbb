#include "runtime/platform/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/support/support.h"

namespace marigold {
namespace {

struct FileTest : testing::Test {
  test::WorkDirectory directory;
};

TEST_F(FileTest, OnlyRegularFilesAreReadable) {
  test::write_file("plain", "text");
  std::filesystem::create_directory("directory");
  std::filesystem::create_symlink("plain", "link");
  std::filesystem::create_symlink("nowhere", "dangling");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);  // opening it the ordinary way would wait for a writer
  EXPECT_TRUE(file_readable("plain"));
  EXPECT_TRUE(file_readable("link"));
  for (const char* name : {"directory", "dangling", "pipe", "missing", "", "/dev/null"}) {
    EXPECT_FALSE(file_readable(name)) << name;
  }
}

TEST_F(FileTest, ReplacingGivesTheNewContentAndFailsWithoutTouchingTheOld) {
  test::write_file("old", "old");
  test::write_file("new", "new");
  EXPECT_EQ(file_sync("new"), 0);
  EXPECT_EQ(file_replace("new", "old"), 0);
  EXPECT_EQ(test::read_file("old"), "new");
  EXPECT_FALSE(file_readable("new"));
  EXPECT_EQ(file_replace("missing", "old"), ENOENT);
  EXPECT_EQ(test::read_file("old"), "new");
  EXPECT_EQ(file_sync("missing"), ENOENT);
}

TEST_F(FileTest, RemovingWhatIsNotThereIsNoFailure) {
  test::write_file("file", "");
  EXPECT_EQ(file_remove("file"), 0);
  EXPECT_EQ(file_remove("file"), 0);
  std::filesystem::create_directories("full/inside");
  EXPECT_NE(file_remove("full"), 0);
}

}  // namespace
}  // namespace marigold
