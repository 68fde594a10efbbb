// SPDX-License-Identifier: GPL-3.0-or-later
// Makes, replaces and removes files by their names, whatever other users have put there.

#include "runtime/platform/new_file.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "runtime/platform/named_file.h"
#include "tests/support/posix/fork.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

constexpr const char* kInTheWay[] = {"link", "dangling", "pipe", "taken", "twin"};

// Makes the names above, a file with two names, and no target for the dangling link.
void put_in_the_way() {
  run_shell(
      "rm -rf -- * ; echo precious > victim; chmod 600 victim; ln -s victim link;"
      "ln -s nowhere dangling; mkfifo pipe; echo old > taken; ln victim twin");
}

void expect_victim_unharmed(const char* name) {
  EXPECT_EQ(read_file("victim"), "precious\n") << name;
  EXPECT_EQ(run_shell("stat -c %a victim").out, "600\n") << name;
  EXPECT_FALSE(std::filesystem::exists("nowhere")) << name;
}

}  // namespace

TEST(NewFileTest, MakingRefusesAnyNameThatIsTaken) {
  const WorkDirectory directory;
  for (const char* name : kInTheWay) {
    put_in_the_way();
    FileWriter file;
    EXPECT_EQ(file.make(name), EEXIST) << name;
    EXPECT_EQ(file_make(name, "bytes"), EEXIST) << name;
    expect_victim_unharmed(name);
  }
}

TEST(NewFileTest, PuttingReplacesTheNameAndNotWhereItLeads) {
  const WorkDirectory directory;
  for (const char* name : kInTheWay) {
    put_in_the_way();
    EXPECT_EQ(file_put(name, "bytes"), 0) << name;
    EXPECT_EQ(read_file(name), "bytes") << name;
    EXPECT_FALSE(std::filesystem::is_symlink(name)) << name;
    expect_victim_unharmed(name);
    put_in_the_way();
    FileWriter file;
    EXPECT_EQ(file.make_again(name), 0) << name;
    EXPECT_EQ(file.write("again"), 0);
    EXPECT_EQ(read_file(name), "again") << name;
    expect_victim_unharmed(name);
  }
  std::filesystem::create_directory("directory");
  EXPECT_EQ(file_put("directory", "bytes"), EISDIR);
  EXPECT_EQ(run_shell("find . -name '.*.*'").out, "");  // no temporary file stays
}

TEST(NewFileTest, AppendingWritesIntoNobodyElsesFile) {
  const WorkDirectory directory;
  const std::pair<const char*, int> rows[] = {
      {"link", ELOOP}, {"dangling", ELOOP}, {"pipe", ENXIO}, {"twin", EMLINK}, {"taken", 0}};
  for (const auto& [name, error] : rows) {
    put_in_the_way();
    if (error == 0) std::filesystem::remove("twin");
    EXPECT_EQ(file_append(name, "more\n"), error) << name;
    expect_victim_unharmed(name);
  }
  EXPECT_EQ(read_file("taken"), "old\nmore\n");
}

TEST(NewFileTest, OnlyRegularFilesAreReadable) {
  const WorkDirectory directory;
  run_shell("mkfifo pipe; mkdir directory; ln -s nowhere dangling; ln -s .out link");
  EXPECT_TRUE(file_readable("link"));
  for (const char* name : {"directory", "dangling", "pipe", "missing", "", "/dev/null"})
    EXPECT_FALSE(file_readable(name)) << name;  // opened in the ordinary way, the pipe would wait
}

TEST(NewFileTest, AccessIsTakenOverWithoutTheRightsOfAProgram) {
  const WorkDirectory directory;
  const std::pair<mode_t, const char*> rows[] = {
      {04755, "755\n"}, {02750, "750\n"}, {01666, "666\n"}, {0600, "600\n"}, {0444, "444\n"}};
  for (const auto& [mode, shown] : rows) {
    run_shell("rm -f file; echo old > file");
    ASSERT_EQ(chmod("file", mode), 0);
    EXPECT_EQ(file_put("file", "new"), 0);
    EXPECT_EQ(run_shell("stat -c %a file").out, shown);
  }
  // The permissions of a link's target are not those of the name.
  run_shell("chmod 777 file; ln -s file link; umask");
  EXPECT_EQ(file_put("link", "new"), 0);
  EXPECT_EQ(run_shell("umask 0; stat -c %a link").out,
            run_shell("rm -f made; : > made; stat -c %a made").out);
}

TEST(NewFileTest, OwnerAndAccessListGoAlong) {
  const WorkDirectory directory;
  // Version 2: the owner reads and writes, user 1234 and the group read, others do nothing.
  const unsigned char list[] = {2, 0,   0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  4,
                                0, 210, 4,   0,   0,   4,   0,  4, 0,   255, 255, 255, 255, 16, 0,
                                4, 0,   255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
  constexpr const char* kName = "system.posix_acl_access";
  write_file("file", "old");
  ASSERT_EQ(setxattr("file", kName, list, sizeof list, 0), 0) << errno;
  const bool may_give = geteuid() == 0;
  if (may_give) {
    ASSERT_EQ(chown("file", 1234, 4321), 0);
  }
  EXPECT_EQ(file_put("file", "new"), 0);
  unsigned char kept[256] = {};
  EXPECT_EQ(getxattr("file", kName, kept, sizeof kept), static_cast<ssize_t>(sizeof list));
  EXPECT_TRUE(std::equal(std::begin(list), std::end(list), kept));
  if (may_give) {
    EXPECT_EQ(run_shell("stat -c %u:%g file").out, "1234:4321\n");
  }
}

// In a test of its own, because its steps depend on the user of the process.
TEST(NewFileTest, AGroupThatCannotBeGivenGetsNoRights) {
  if (geteuid() != 0) return;  // only the superuser can prepare the test
  const WorkDirectory directory;
  run_shell("echo old > file; chown 1234:4321 file; chmod 660 file; chmod 777 .");
  const auto put_as_another = [] {
    EXPECT_EQ(setgid(1235) + setuid(1235), 0);
    EXPECT_EQ(file_put("file", "new"), 0);
  };
  EXPECT_EQ(run_forked(put_as_another), 0);
  EXPECT_EQ(run_shell("stat -c '%u %g %a' file").out, "1235 1235 600\n");
}

}  // namespace marigold::inner::test
