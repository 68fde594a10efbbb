// SPDX-License-Identifier: GPL-3.0-or-later
// Processes that may only read a file, on a system where a look for others is a lock, and files that
// this system cannot share.

#include <cerrno>

#include "runtime/isam/local/file.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/system_error.h"
#include "runtime/platform/windows/remote_file_windows.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

// Opens a file of which this process may write neither half. The engine looks at the index, and
// then opens each half for writing or, refused, for reading.
int open_without_rights(const char* base) {
  static int opened = 0;
  opened = 0;
  file_fault_hook = [](FileCall call) {
    return call == FileCall::kOpen && ++opened % 2 == 0 ? EACCES : 0;
  };
  const int file = ISOPEN(base, kIsInput);
  file_fault_hook = nullptr;
  EXPECT_EQ(opened, 5);
  return file;
}

// Two at once would take each other's look for a process of another machine.
TEST(ReadingTest, AReaderWaitsUntilAnotherOneHasLookedForOthers) {
  const WorkDirectory directory;
  build_wide("file", {});
  Process looking = start_child([] {
    MappedFile index;
    EXPECT_EQ(index.open("file.idx", FileAccess::kRead) + index.lock(isam::kRegisterLock, true), 0);
    EXPECT_EQ(index.lock(isam::kRunLocks + isam::kRunLockBytes - 1, true), 0);
    write_file("looks", "");
    sleep_us(200'000);
  });
  while (!file_exists("looks"))
    sleep_us(1'000);
  const int file = open_without_rights("file");
  EXPECT_GE(file, 0) << iserrno << " " << isreason();
  EXPECT_EQ(ISCLOSE(file), 0);
  EXPECT_EQ(looking.wait(), 0);
}

TEST(ReadingTest, FilesOnNetworkDrivesAreRefusedWithAReason) {
  const WorkDirectory directory;
  build_wide("file", {});
  remote_file_hook = [] { return true; };
  IsRebuildReport report;
  EXPECT_LT(ISOPEN("file", kSharedMode), 0);
  EXPECT_EQ(std::pair(int{iserrno}, std::string(isreason())),
            std::pair(kOnNetworkDrive, "keyed files must be on a drive of this machine"s));
  EXPECT_EQ(error_of(ISBUILD("new", kWideRecord, kWidePrimary, kExclusiveMode)), kOnNetworkDrive);
  EXPECT_EQ(error_of(isrebuild("file", report)), kOnNetworkDrive);
  remote_file_hook = nullptr;
  EXPECT_FALSE(file_exists("new.idx") || file_exists("new.dat"));
  expect_holds("file", {});
  EXPECT_EQ(*isreason(), '\0');
}

}  // namespace
}  // namespace marigold::inner::test
