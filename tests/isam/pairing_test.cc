// SPDX-License-Identifier: GPL-3.0-or-later
// A pair of files between two openings: restored in parts, copied while in use, moved to another
// machine, after a restart of this one, and beside processes that wait or may only read.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/file.h"
#include "runtime/isam/local/layout.h"
#include "runtime/platform/mapped_file.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

struct PairingTest : TortureTest {
  // Writes (or, with version 0, deletes) `count` records from a number on.
  static void change(int file, std::int32_t from, std::int32_t count, std::uint32_t version) {
    for (std::int32_t number = from; number < from + count; ++number) {
      const Does what = version == 0 ? Does::kDelete : Does::kWrite;
      EXPECT_EQ(perform({what, number, version}, file), 0) << number << " " << iserrno;
    }
  }
  static Contents records(std::int32_t from, std::int32_t count, Contents with = {}) {
    for (std::int32_t number = from; number < from + count; ++number)
      with[number] = wide_record(number, 1);
    return with;
  }
  static std::string why_made_anew(const std::string& base) {
    const int file = ISOPEN(base.c_str(), kSharedMode);
    IsamInfo info;
    EXPECT_EQ(isinfo(file, info), 0);
    EXPECT_EQ(ISCLOSE(file), 0);
    return info.made_anew;
  }
  // Does the same in a process that is killed afterwards, so that nothing is closed.
  template <typename Body>
  static void and_die(const Body&) {
    const auto body_and_death = [] {
      Body()();
      if (!HasFailure()) die_now();
    };
    EXPECT_EQ(run_child(body_and_death), kKilled);
  }
  static void copy(const std::string& from, const std::string& to) {
    write_file(to, read_file(from));  // in place: a restored file keeps its number
  }
};

// Operations acknowledged in this run of the machine hold in this run, however the run before
// ended.
TEST_F(PairingTest, ARunThatBeginsWithARebuildKeepsWhatItDoes) {
  for (const bool built_just_now : {false, true}) {
    SCOPED_TRACE(built_just_now);
    if (built_just_now) {
      and_die([] { change(ISBUILD("file", kWideRecord, kWidePrimary, kSharedMode), 0, 50, 1); });
    } else {
      build_wide("file", records(0, 50));
      leave_without_indexes();
    }
    and_die([] {
      const OtherRun later(1);
      const int file = ISOPEN("file", kSharedMode);
      change(file, 50, 50, 1);
      change(file, 0, 20, 0);
    });
    const OtherRun the_same(1);
    EXPECT_EQ(why_made_anew("file"), "");
    expect_holds("file", records(20, 80));
    remove_pair("file");
  }
}

TEST_F(PairingTest, AnotherMachineMayNotHaveTheFileAtTheSameTime) {
  build_wide("file", records(0, 10));
  const auto elsewhere = [](int mode) {
    const auto body = [](int opens) {
      const OtherRun other;
      const int file = ISOPEN("file", opens);
      EXPECT_EQ(isreason() != ""s, file < 0 && opens != kExclusiveMode);
      std::_Exit(error_of(file));
    };
    return run_child(body, mode);
  };
  const auto expect_elsewhere = [&](int error) {
    for (const int mode : {kSharedMode, kExclusiveMode, int{kIsInput}})
      EXPECT_EQ(elsewhere(mode), error) << mode;
  };
  int file = ISOPEN("file", kIsInput);
  expect_elsewhere(kIsFileLocked);
  EXPECT_EQ(ISCLOSE(file), 0);
  expect_elsewhere(0);
  file = ISOPEN("file", kSharedMode);
  change(file, 10, 10, 1);
  change(file, 0, 5, 0);
  expect_elsewhere(kIsFileLocked);
  change(file, 20, 10, 1);
  EXPECT_EQ(verify(file), "");
  EXPECT_EQ(ISCLOSE(file), 0);
  expect_elsewhere(0);
  expect_holds("file", records(5, 25));
}

// Combines halves of a pair from different times in every way. Either the records of the data file
// are found, or the pair is refused; records written later never collide with records that are
// there.
TEST_F(PairingTest, HalvesOfTwoTimesAreMadeOneOrRefused) {
  build_wide("old", records(0, 40));
  build_wide("file", {});
  struct Row {
    const char* index;
    const char* data;
    int error;
    Contents contents;
    bool made_anew;
  };
  // Moments of one pair: old, during its first use, closed, in use again.
  copy_pair("old", "used");
  int used = ISOPEN("used", kSharedMode);
  change(used, 100, 30, 1);
  copy("used.idx", "first.idx");
  copy("used.dat", "first.dat");
  change(used, 200, 30, 1);
  EXPECT_EQ(ISCLOSE(used), 0);
  copy_pair("used", "closed");
  used = ISOPEN("used", kSharedMode);
  change(used, 300, 30, 1);
  copy("used.idx", "again.idx");
  EXPECT_EQ(ISFLUSH(used), 0);
  EXPECT_EQ(ISCLOSE(used), 0);
  const Contents at_first = records(0, 40);
  const Contents at_closing = records(200, 30, records(100, 30, at_first));
  const Row rows[] = {
      {"old", "closed", 0, at_closing, true},    {"closed", "old", 0, at_first, true},
      {"first", "closed", 0, at_closing, true},  {"again", "closed", 0, at_closing, true},
      {"first", "first", kIsBadFile, {}, false}, {"closed", "first", kIsBadFile, {}, false},
      {"closed", "closed", 0, at_closing, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.index + std::string(" beside ") + row.data);
    copy(row.index + ".idx"s, "file.idx");
    copy(row.data + ".dat"s, "file.dat");
    const int file = ISOPEN("file", kSharedMode);
    ASSERT_EQ(error_of(file), row.error);
    EXPECT_EQ(row.error != 0, std::string_view(isreason()) != "");
    if (file < 0) continue;
    ASSERT_EQ(ISCLOSE(file), 0);
    copy(row.index + ".idx"s, "file.idx");
    copy(row.data + ".dat"s, "file.dat");
    EXPECT_EQ(why_made_anew("file") != "", row.made_anew);
    expect_holds("file", row.contents);
    const int again = ISOPEN("file", kSharedMode);
    change(again, 1000, 60, 1);
    ASSERT_EQ(ISCLOSE(again), 0);
    expect_holds("file", records(1000, 60, row.contents));
  }
}

// Moments of one use, which no stamp distinguishes: the index counts the slots of records as free.
TEST_F(PairingTest, AnIndexOfAnEarlierMomentOfTheSameUseIsRefused) {
  build_wide("file", records(0, 40));
  and_die([] {
    const int file = ISOPEN("file", kSharedMode);
    change(file, 100, 1, 1);
    copy("file.idx", "earlier.idx");
    change(file, 101, 30, 1);
  });
  copy("earlier.idx", "file.idx");
  EXPECT_EQ(error_of(ISOPEN("file", kSharedMode)), kIsBadFile);
  IsRebuildReport report;
  EXPECT_EQ(isrebuild("file", report), 0);
  expect_holds("file", records(100, 31, records(0, 40)));
}

// Leaves the pair like an engine that drew no stamps.
TEST_F(PairingTest, FilesWithoutStampsGetThem) {
  build_wide("file", records(0, 10));
  std::string index = read_file("file.idx");
  isam::IndexHeader header;
  std::memcpy(&header, index.data(), sizeof header);
  header.version = isam::kUnstampedIndexVersion;
  header.clean_stamp = header.use_stamp = header.file_number = 0;
  header.checksum = isam::index_header_checksum(header);
  std::memcpy(index.data(), &header, sizeof header);
  std::string data = read_file("file.dat");
  data.replace(isam::kDataMark, sizeof(isam::DataMark), sizeof(isam::DataMark), '\0');
  copy_pair("file", "unstamped");
  write_file("unstamped.idx", index);
  write_file("unstamped.dat", data);
  EXPECT_EQ(why_made_anew("unstamped"), "");
  expect_holds("unstamped", records(0, 10));
  EXPECT_EQ(read_file("unstamped.idx"), index);  // a reader leaves the file to the old engine
  const int file = ISOPEN("unstamped", kSharedMode);
  change(file, 10, 10, 1);
  EXPECT_EQ(ISCLOSE(file), 0);
  EXPECT_EQ(why_made_anew("unstamped"), "");
  write_file("unstamped.idx", index);
  EXPECT_NE(why_made_anew("unstamped"), "");
  expect_holds("unstamped", records(0, 20));
}

struct Meeting {
  std::atomic<bool> syncing = false;
  std::atomic<bool> seen = false;
};
Meeting* meeting = nullptr;

// Waits in the sync of a flush until other processes have been at work.
int wait_at_the_disk(FileCall call) {
  if (call != FileCall::kSync || meeting->seen) return 0;
  meeting->syncing = true;
  for (int wait = 0; wait < 10'000 && !meeting->seen; ++wait)
    sleep_us(1000);
  EXPECT_TRUE(meeting->seen);
  return 0;
}

TEST_F(PairingTest, OthersWriteWhileAProcessWaitsForTheDisk) {
  const auto replace_and_flush = [] {
    const Shared<Meeting> with_parent("meeting");
    meeting = &*with_parent;
    const int file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(perform({Does::kReplace, 1, 2}, file), 0);
    file_fault_hook = wait_at_the_disk;
    EXPECT_EQ(ISFLUSH(file), 0);
    file_fault_hook = nullptr;
  };
  build_wide("file", records(0, 50));
  const Shared<Meeting> with_child("meeting");
  const int file = ISOPEN("file", kSharedMode);
  change(file, 100, 1, 1);
  Process flushing = start_child(replace_and_flush);
  while (!with_child->syncing && flushing.is_running())
    sleep_us(100);
  change(file, 101, 50, 1);
  change(file, 10, 20, 0);
  EXPECT_EQ(verify(file), "");
  with_child->seen = true;
  EXPECT_EQ(flushing.wait(), 0);
  EXPECT_EQ(ISCLOSE(file), 0);
  Contents expected = records(100, 51, records(0, 10, records(30, 20)));
  expected[1] = wide_record(1, 2);
  expect_holds("file", expected);
}

TEST_F(PairingTest, AReaderWhoIsAloneIsAlone) {
  build_wide("file", records(0, 5));
  const Shared<Stage> stage("stage");
  constexpr int kAlone = kIsInput | kIsExclusive;
  restrict_to_reading(true);
  Process reader = start_child([] {
    const Shared<Stage> common("stage");
    become_a_reader();
    const int file = ISOPEN("file", kAlone);
    EXPECT_GE(file, 0) << iserrno;
    common->reach(1);
    common->wait_for(2);
    EXPECT_EQ(ISCLOSE(file), 0);
    common->reach(3);
    common->wait_for(4);
    EXPECT_EQ(error_of(ISOPEN("file", kAlone)), kIsFileLocked);
  });
  stage->wait_for(1);
  EXPECT_EQ(error_of(ISOPEN("file", kIsInput)), kIsFileLocked);
  stage->reach(2);
  stage->wait_for(3);
  const int file = ISOPEN("file", kIsInput);
  EXPECT_GE(file, 0) << iserrno;
  stage->reach(4);
  EXPECT_EQ(reader.wait(), 0);
  EXPECT_EQ(ISCLOSE(file), 0);
}

}  // namespace
}  // namespace marigold::inner::test
