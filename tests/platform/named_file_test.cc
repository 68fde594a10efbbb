// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/named_file.h"

#include <cerrno>

#include "runtime/platform/new_file.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(FileTest, FailuresAreErrorNumbers) {
  EXPECT_EQ(file_sync("missing"), ENOENT);
  EXPECT_EQ(file_replace("missing", "old"), ENOENT);
  EXPECT_EQ(file_remove("missing"), 0);
  const WorkDirectory directory;
  std::filesystem::create_directory("directory");
  write_file("directory/file", "");
  EXPECT_NE(file_remove("directory"), 0);
}

TEST(FileTest, OnlyADirectoryReplacesADirectoryAndOnlyAnEmptyOne) {
  const WorkDirectory directory;
  for (const char* made : {"empty", "full", "new"})
    std::filesystem::create_directory(made);
  write_file("full/inside", "");
  write_file("file", "");
  EXPECT_EQ(file_replace("file", "empty"), EISDIR);
  EXPECT_EQ(file_put("empty", "bytes"), EISDIR);
  EXPECT_EQ(file_replace("new", "full"), ENOTEMPTY);
  EXPECT_EQ(file_replace("full", "empty"), 0);
  EXPECT_TRUE(std::filesystem::exists("empty/inside"));
  const auto left = std::filesystem::directory_iterator(".");
  EXPECT_EQ(std::distance(begin(left), end(left)), 3);  // empty, new, file
}

TEST(FileTest, TheNameOfARemovedFileIsFreeAtOnce) {
  const WorkDirectory directory;
  FileWriter first;
  FileWriter second;
  ASSERT_EQ(first.make("file"), 0);
  EXPECT_EQ(file_remove("file"), 0);
  EXPECT_FALSE(std::filesystem::exists("file"));
  EXPECT_EQ(second.make("file"), 0);
  EXPECT_EQ(second.write("second"), 0);
  EXPECT_EQ(first.write("first") + first.close(), 0);
  EXPECT_EQ(read_file("file"), "second");
  EXPECT_EQ(second.close() + file_remove("file"), 0);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST(FileTest, AbandonedFilesAreThoseThatNobodyUses) {
  const WorkDirectory directory;
  const std::string name = new_file_name("d/file");
  EXPECT_TRUE(name.starts_with("d/.file."));
  EXPECT_NE(new_file_name("d/file"), name);
  std::filesystem::create_directory("d");
  const std::string used = new_file_name("d/file");
  FileWriter held;
  ASSERT_EQ(held.make((used + ".idx").c_str()), 0);
  for (const std::string& path : {name + ".dat", name + ".idx", used + ".dat", "d/.file.0123"s,
                                  "d/file.0123456789abcdef"s, "d/.other.0123456789abcdef"s})
    write_file(path, "left");
  for (const auto& entry : std::filesystem::directory_iterator("d"))
    make_older(entry.path().string());
  write_file("d/.file.fedcba9876543210", "a moment ago");
  EXPECT_EQ(new_files_abandoned("d/file"),
            (std::vector<std::string>{name + ".dat", name + ".idx"}));
}

}  // namespace marigold::inner::test
