// SPDX-License-Identifier: GPL-3.0-or-later
// Snapshots: the records of one moment, whatever is changed while they are read.

#include <array>
#include <atomic>
#include <cerrno>

#include "runtime/isam/local/layout.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

struct SnapshotTest : TortureTest {
  static int begin(int file) { return issnapshot(std::array{file}); }
  static Contents read(int file) {
    Contents found;
    std::string record(kWideRecord, '\0');
    while (issnapshot_read(file, record.data()) == 0)
      EXPECT_TRUE(found.emplace(isld_int4(record.data()), record).second);
    EXPECT_EQ(iserrno, kIsEndOfFile);
    return found;
  }
  static Contents written(int file) {
    EXPECT_EQ(issnapshot_write(file, "copy", "file"), 0) << iserrno;
    Contents found;
    EXPECT_EQ(examine("copy", found), "");
    remove_pair("copy");
    return found;
  }
  // Changes everything, flushes, and does it again, so that all free slots are used.
  static void churn(int file, Contents& contents, unsigned seed) {
    for (const Operation& operation : random_operations(seed, 600, 150)) {
      const bool succeeds = apply(operation, contents);
      EXPECT_EQ(perform(operation, file) == 0, succeeds);
      EXPECT_EQ(operation.version % 50 == 0 ? ISFLUSH(file) : 0, 0);
    }
    EXPECT_EQ(ISFLUSH(file), 0);
  }
};

TEST_F(SnapshotTest, HoldsTheMomentWhileEverythingChanges) {
  for (const int mode : {kSharedMode, kExclusiveMode}) {
    Contents contents = some_contents(150, 3);
    build_wide("file", contents);
    const int file = ISOPEN("file", mode);
    churn(file, contents, 5);
    EXPECT_EQ(ISDELETE(file, contents.begin()->second.data()), 0);  // not settled at the moment
    contents.erase(contents.begin());
    const Contents moment = contents;
    ASSERT_EQ(begin(file), 0) << iserrno;
    EXPECT_EQ(error_of(begin(file)), kIsBadArgument);
    for (unsigned round = 0; round < 4; ++round)
      churn(file, contents, 10 + round);
    EXPECT_EQ(issnapshot_count(file), static_cast<std::int64_t>(moment.size()));
    EXPECT_EQ(read(file), moment);
    churn(file, contents, 20);
    EXPECT_EQ(written(file), moment);
    EXPECT_EQ(verify(file), "");
    EXPECT_EQ(issnapshot_end(file), 0);
    EXPECT_EQ(error_of(issnapshot_read(file, nullptr)), kIsNotOpen);
    const auto size = std::filesystem::file_size("file.dat");
    for (unsigned round = 0; round < 6; ++round)
      churn(file, contents, 30 + round);
    EXPECT_EQ(std::filesystem::file_size("file.dat"), size);  // the kept slots are used again
    expect_sound_and_close(file);
    expect_holds("file", contents);
    remove_pair("file");
  }
}

// A process counts up in two files, always in the first one first.
TEST_F(SnapshotTest, SnapshotsOfSeveralFilesAreOfOneMoment) {
  build_wide("one", {{1, wide_record(1, 0)}});
  build_wide("two", {{1, wide_record(1, 0)}});
  const Shared<std::atomic<bool>> stop("stop");
  const auto number_in = [](const std::string& record) { return isld_int4(record.data() + 4); };
  Process counting = start_child([] {
    const Shared<std::atomic<bool>> stops("stop");
    const int files[] = {ISOPEN("one", kSharedMode), ISOPEN("two", kSharedMode)};
    std::string record = wide_record(1, 0);
    for (std::int32_t count = 1; !*stops; ++count) {
      isst_int4(count, record.data() + 4);
      for (const int file : files)
        EXPECT_EQ(ISREPLACE(file, record.data()), 0) << iserrno;
      EXPECT_EQ(count % 100 == 0 ? ISFLUSH(files[count / 100 % 2]) : 0, 0);
    }
  });
  const std::array files = {ISOPEN("two", kSharedMode), ISOPEN("one", kSharedMode)};
  for (int round = 0; round < amount(60, 2000); ++round) {
    ASSERT_EQ(issnapshot(files), 0) << iserrno;
    sleep_us(500);
    Contents of_two = read(files[0]);
    Contents of_one = read(files[1]);
    const std::int32_t behind = number_in(of_one[1]) - number_in(of_two[1]);
    EXPECT_TRUE(round == 0 || behind == 0 || behind == 1) << behind;
    for (const int file : files)
      ASSERT_EQ(issnapshot_end(file), 0);
  }
  *stop = true;
  EXPECT_EQ(counting.wait(), 0);
  for (const int file : files)
    expect_sound_and_close(file);
}

TEST_F(SnapshotTest, AReaderThatDiesKeepsNothing) {
  Contents contents = some_contents(150, 3);
  build_wide("file", contents);
  const int file = ISOPEN("file", kSharedMode);
  Process reader = start_child([] {
    EXPECT_EQ(begin(ISOPEN("file", kSharedMode)), 0);
    write_file("begun", "");
    for (;;)
      sleep_us(100'000);
  });
  while (!std::filesystem::exists("begun") && reader.is_running())
    sleep_us(100);
  churn(file, contents, 5);
  churn(file, contents, 6);
  EXPECT_EQ(reader.kill(), kKilled);
  churn(file, contents, 7);
  const auto size = std::filesystem::file_size("file.dat");
  for (unsigned round = 0; round < 6; ++round)
    churn(file, contents, 30 + round);
  EXPECT_EQ(std::filesystem::file_size("file.dat"), size);
  expect_sound_and_close(file);
}

TEST_F(SnapshotTest, ADamagedRecordIsNoCopy) {
  build_wide("file", some_contents(20, 3));
  std::string data = read_file("file.dat");
  data[isam::kDataStart + sizeof(isam::SlotHeader) + 100] ^= 1;  // in the first slot
  write_file("file.dat", data);
  const int file = ISOPEN("file", kSharedMode);
  ASSERT_EQ(begin(file), 0);
  EXPECT_EQ(error_of(issnapshot_write(file, "copy", "")), kIsBadFile);
  EXPECT_NE(isreason(), ""s);
  EXPECT_FALSE(std::filesystem::exists("copy.dat") || std::filesystem::exists("copy.idx"));
  EXPECT_EQ(ISCLOSE(file), 0);
}

}  // namespace
}  // namespace marigold::inner::test
