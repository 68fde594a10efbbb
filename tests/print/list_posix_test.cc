// SPDX-License-Identifier: GPL-3.0-or-later
// Lists of a user who may not write their files.

#include <fstream>

#include "marigold/lists.h"
#include "tests/print/list_support.h"
#include "tests/support/process.h"

namespace marigold::inner::test {
namespace {

using ListPosixTest = PrintTest;

// A user who may not write the files opens them for reading only.
TEST_F(ListPosixTest, WhoMayOnlyReadTheListFilesPrints) {
  write_list({.page_length = 6, .last_line = 5}, {{"B", {words("b")}}});
  for (const auto& entry : std::filesystem::directory_iterator("."))
    std::filesystem::permissions(entry.path(), std::filesystem::perms(0444));
  std::filesystem::permissions(".", std::filesystem::perms(0555));
  const auto run = [] {
    become_a_reader();
    const bool may_write = std::ofstream("LISTEN.dat", std::ios::app).is_open();
    const bool right = print({"B"}) == "b\n\n\n\n\n\n====\n" && told.empty();
    std::_Exit(may_write ? 8 : right ? 0 : 1);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
  EXPECT_FALSE(data_file("LISTEN").read_only);
  std::filesystem::permissions(".", std::filesystem::perms(0755));
}

}  // namespace
}  // namespace marigold::inner::test
