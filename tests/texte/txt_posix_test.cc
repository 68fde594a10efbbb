// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/texte/txt.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(TxtPosixTest, LinksAndPipesAreNoDatabases) {
  const WorkDirectory directory;
  setenv("LANGUAGE_SEARCHPATH", "./%N", 1);
  txt_start();
  write_textdb("textdb", {{"A", "a"}});
  const std::pair<const char*, const char*> companions[] = {
      {"ln -s textdb.dir textdb.dir", "Too many levels of symbolic links"},
      {"mkfifo textdb.dir", "Invalid argument"}};
  for (const auto& [made, reason] : companions) {
    run_shell("rm -rf textdb.dir; " + std::string(made));
    EXPECT_EQ(errors_of([] { EXPECT_EQ(txt_open(nullptr, "textdb"), -1); }),
              "./textdb: " + std::string(reason) + "\n");
  }
}

}  // namespace marigold::inner::test
