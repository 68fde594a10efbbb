// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/named_file.h"

#include "runtime/platform/new_file.h"

#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(FileTest, OnlyRegularFilesAreReadable) {
  const WorkDirectory directory;
  run_shell("mkfifo pipe; mkdir directory; ln -s nowhere dangling; ln -s .out link");
  EXPECT_TRUE(file_readable("link"));
  for (const char* name : {"directory", "dangling", "pipe", "missing", "", "/dev/null"})
    EXPECT_FALSE(file_readable(name)) << name;  // opened in the ordinary way, the pipe would wait
}

TEST(FileTest, FailuresAreErrorNumbers) {
  EXPECT_EQ(file_sync("missing"), ENOENT);
  EXPECT_EQ(file_replace("missing", "old"), ENOENT);
  EXPECT_EQ(file_remove("missing"), 0);
  EXPECT_NE(file_remove("/dev"), 0);
}

}  // namespace marigold::inner::test
