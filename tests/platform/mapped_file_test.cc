// SPDX-License-Identifier: GPL-3.0-or-later
// Files in memory and locks of bytes, as every system has to keep them.
#include "runtime/platform/mapped_file.h"

#include <cerrno>

#include "runtime/platform/named_file.h"
#include "runtime/platform/record_file.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

constexpr std::uint64_t kByte = kFirstLock;

// Two objects that have one file open.
struct OpenTwice {
  OpenTwice() { EXPECT_EQ(one.create("file") + other.open("file", FileAccess::kReadWrite), 0); }
  const WorkDirectory directory;
  MappedFile one;
  MappedFile other;
};

TEST(LockTest, ALockBecomesExclusiveOnlyIfItIsAlone) {
  OpenTwice file;
  auto& [directory, one, other] = file;
  EXPECT_EQ(one.lock(kByte, false) + other.lock(kByte, false) + other.lock(kByte + 1, false), 0);
  EXPECT_EQ(one.lock_if_alone(kByte), EAGAIN);
  bool any = false;
  bool exclusive = true;
  EXPECT_EQ(other.locked_by_other(kByte, any), 0);
  EXPECT_EQ(other.locked_exclusively_by_other(kByte, exclusive), 0);
  EXPECT_TRUE(any && !exclusive) << "still shared";
  EXPECT_EQ(one.locked_by_other(kByte, any, 2), 0);
  EXPECT_TRUE(any);
  EXPECT_EQ(other.unlock(kByte - 4, 8), 0) << "more than was locked";
  EXPECT_EQ(one.locked_by_other(kByte, any, 2), 0);
  EXPECT_FALSE(any);
  EXPECT_EQ(one.lock_if_alone(kByte), 0);
  EXPECT_EQ(other.lock(kByte, false), EAGAIN);
  EXPECT_EQ(one.lock(kByte, false) + other.lock(kByte, false), 0);
  EXPECT_EQ(one.lock(kByte, false) + other.unlock(kByte), 0);
  EXPECT_EQ(other.lock(kByte, true), EAGAIN) << "shared, and not given away";
}

// Some systems let nobody read or write a locked byte.
TEST(LockTest, BytesOfTheContentsCannotBeLocked) {
  OpenTwice file;
  RecordFile records;
  EXPECT_EQ(records.open("file", true), 0);
  for (const std::uint64_t byte : {std::uint64_t{0}, kByte - 1, kPlatformLocks}) {
    EXPECT_EQ(file.one.lock(byte, false), EINVAL) << byte;
    EXPECT_EQ(file.one.lock_if_alone(byte), EINVAL) << byte;
    EXPECT_EQ(records.lock(byte, 1, true), EINVAL) << byte;
  }
  EXPECT_EQ(records.lock(kPlatformLocks - 1, 2, true), EINVAL);
  EXPECT_EQ(records.lock(kPlatformLocks - 2, 2, true), 0);
}

// A look must not be a lock that others meet.
TEST(LockTest, ALookForAHolderDisturbsNobody) {
  OpenTwice file;
  const auto look_for_ever = [] {
    MappedFile looking;
    EXPECT_EQ(looking.open("file", FileAccess::kRead), 0);
    write_file("looks", "");
    for (bool locked = false;; wait_a_little(0))
      EXPECT_EQ(looking.locked_exclusively_by_other(kByte, locked), 0);
  };
  const Process looker = start_child(look_for_ever);
  while (!file_exists("looks"))
    wait_a_little(0);
  const int rounds = is_slow_system() ? 1'000 : 10'000;
  for (int round = 0; round < rounds; ++round) {
    bool locked = true;
    EXPECT_EQ(file.one.locked_exclusively_by_other(kByte, locked), 0);
    ASSERT_FALSE(locked) << "somebody else only looks, round " << round;
    ASSERT_EQ(file.other.lock(kByte, false), 0) << round;
    ASSERT_EQ(file.other.unlock(kByte), 0) << round;
    ASSERT_EQ(file.other.lock(kByte, true), 0) << round;
    ASSERT_EQ(file.other.unlock(kByte), 0) << round;
  }
}

TEST(MappedFileTest, GrowsWhileOthersHaveItMapped) {
  constexpr std::uint64_t kSmall = 4096;
  constexpr std::uint64_t kLarge = 1'000'000;
  constexpr std::uint64_t kTooLarge = std::uint64_t{1} << 63;
  OpenTwice file;
  auto& [directory, one, other] = file;
  EXPECT_EQ(one.reserve(kSmall) + one.map(kSmall) + other.map(kSmall), 0);
  EXPECT_EQ(file_size("file"), kSmall) << "a view makes no file longer";
  EXPECT_EQ(one.reserve(kLarge) + one.map(kLarge), 0);
  EXPECT_NE(one.reserve(kTooLarge), 0);
  EXPECT_EQ(file_size("file"), kLarge) << "a failed reserve takes nothing";
  one.memory()[0] = std::byte{7};
  one.memory()[kLarge - 1] = std::byte{8};
  EXPECT_EQ(other.memory()[0], std::byte{7}) << "the old view is still one of the file";
  EXPECT_EQ(other.map(kLarge), 0);
  EXPECT_EQ(other.memory()[kLarge - 1], std::byte{8});
  EXPECT_EQ(one.sync() + other.sync_part(0, kSmall), 0);
  EXPECT_EQ(read_file("file").back(), 8);
}

}  // namespace
}  // namespace marigold::inner::test
