// SPDX-License-Identifier: GPL-3.0-or-later
// Help for rebuilds: the spill file, for runs that do not fit in memory, and the worker thread.

#include "runtime/platform/spill_file.h"

#include <atomic>
#include <cerrno>
#include <vector>

#include "runtime/platform/worker.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

TEST(SpillFileTest, ItIsGoneWithTheObject) {
  const WorkDirectory directory;
  {
    SpillFile file;
    EXPECT_FALSE(file.is_made());
    ASSERT_EQ(file.make("data"), 0);
    EXPECT_NE(std::filesystem::is_empty("."), is_slow_system()) << "it has a name on Windows alone";
  }
  EXPECT_TRUE(std::filesystem::is_empty("."));
  SpillFile file;
  ASSERT_EQ(file.make("data"), 0);
  const std::vector<std::byte> bytes(100'000, std::byte{7});
  ASSERT_EQ(file.write(50'000, bytes), 0);
  std::vector<std::byte> read(bytes.size());
  ASSERT_EQ(file.read(50'000, read), 0);
  EXPECT_EQ(read, bytes);
  EXPECT_EQ(file.read(50'001, read), EIO);
}

TEST(WorkerTest, TasksAreDoneInOrder) {
  std::vector<int> done;
  std::atomic<int> count = 0;
  {
    Worker worker;
    for (int i = 0; i < 2; ++i)
      worker.run([&done, i] { done.push_back(i); });
    worker.wait();
    EXPECT_EQ(done, (std::vector<int>{0, 1}));
    for (int i = 0; i < 100; ++i)
      worker.run([&count] { ++count; });
  }  // it ends when all is done
  EXPECT_EQ(count, 100);
}

}  // namespace
}  // namespace marigold::inner::test
