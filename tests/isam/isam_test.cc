// SPDX-License-Identifier: GPL-3.0-or-later
// Promises of the engine of pairs of files: files that are full or damaged, their indexes, their
// formats. engines_test.cc has what every engine promises.

#include "runtime/isam/common/isam.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>
#include <set>

#include "runtime/isam/common/fatal.h"
#include "runtime/isam/common/key.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/file.h"
#include "runtime/isam/local/layout.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

struct IsamTest : testing::Test {
  WorkDirectory directory;
};

TEST_F(IsamTest, ABaseNameCanNameTheIndex) {
  EXPECT_EQ(ISCLOSE(ISBUILD("*direct", 8, kPrimary, kExclusiveMode)), 0);
  EXPECT_EQ(read_file("direct").substr(0, 2), "\xFE\x53");  // the index file has this very name
  EXPECT_EQ(ISCLOSE(ISOPEN("*direct", kSharedMode)), 0);
  EXPECT_EQ(error_of(ISBUILD("other", 3, kPrimary, kExclusiveMode)), kIsBadKey);
  EXPECT_FALSE(std::filesystem::exists("other.idx") || std::filesystem::exists("other.dat"));
}

// Nodes store the common prefix of their keys once, and of a child's bound only the separator. Keys
// that differ early make leaves of few entries, with hundreds of leaves below one inner node, since
// three bytes separate them; then come keys in between that differ only at their end.
TEST_F(IsamTest, KeysThatBeginAlikeStandBetweenOthers) {
  const int file = ISBUILD("file", 200, {0, 1, {{{0, 200, kIsCharacters}}}}, kExclusiveMode);
  std::mt19937 random(4);
  std::set<std::string> keys;
  const auto write = [&](std::string key) {
    key.resize(200, '.');
    ASSERT_EQ(!keys.insert(key).second || ISWRITE(file, key.data()) == 0, true) << iserrno;
  };
  const auto check = [&] {
    EXPECT_EQ(verify(file), "");
    std::string found(200, '\0');
    ASSERT_EQ(ISREAD(file, found.data(), kIsFirst), 0);
    for (const std::string& key : keys) {
      EXPECT_EQ(found, key);
      ISREAD(file, found.data(), kIsNext);
    }
    EXPECT_EQ(iserrno, kIsEndOfFile);
    for (const std::string& key : keys)
      ASSERT_EQ(ISREAD(file, (found = key).data(), kIsEqual), 0);
  };
  const auto some_bytes = [&](std::size_t count) {
    std::string bytes(count, '\0');
    std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
    return bytes;
  };
  for (int i = 0; i < 3000; ++i)
    write(some_bytes(3));
  check();
  const std::uintmax_t before = std::filesystem::file_size("file.idx");
  for (int group = 0; group < 10; ++group) {
    const std::string begin = some_bytes(2) + std::string(190, 'x');
    for (int i = 0; i < 400; ++i)
      write(begin + some_bytes(4));
  }
  check();
  // Stored whole, these keys would take 800,000 bytes.
  EXPECT_LT(std::filesystem::file_size("file.idx") - before, 400'000U);
  std::vector<std::string> order(keys.begin(), keys.end());
  std::ranges::shuffle(order, random);
  for (const std::string& key : order) {
    ASSERT_EQ(ISDELETE(file, key.data()), 0) << iserrno;
    keys.erase(key);
    if (keys.size() % 1000 == 500) check();
  }
  // One after the other into the leaf that is left.
  for (int i = 0; i < 3; ++i) {
    write(some_bytes(3));
    check();
    ASSERT_EQ(ISDELETE(file, keys.extract(keys.begin()).value().data()), 0) << iserrno;
  }
  EXPECT_EQ(ISCLOSE(file), 0);
}

// Whatever the index file is, the records come from the data file.
TEST_F(IsamTest, AnIndexIsMadeAnew) {
  // Error, records found, records lost.
  const auto expect_rebuild = [](int error, std::int64_t records, std::int64_t lost) {
    IsRebuildReport report;
    EXPECT_EQ(error_of(isrebuild("file", report)), error);
    EXPECT_EQ(report.records, records);
    EXPECT_EQ(report.lost, lost);
  };
  int file = build();
  play(file, "w1x w2y w3z d2");
  expect_rebuild(kIsFileLocked, 0, 0);
  ASSERT_EQ(ISCLOSE(file), 0);
  std::string data = read_file("file.dat");
  const std::string index = read_file("file.idx");
  for (const std::string& instead : {index, ""s, "no index"s, std::string(9000, '\xFE')}) {
    write_file("file.idx", instead);
    expect_rebuild(0, 2, 0);
    file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(verify(file), "");
    play(file, "e1=1x e2=111 e3=3z w2y d2");
    ASSERT_EQ(ISCLOSE(file), 0);
  }
  std::filesystem::remove("file.idx");
  data[isam::kDataStart + sizeof(isam::SlotHeader)] ^= 1;  // in the first record
  write_file("file.dat", data);
  expect_rebuild(0, 1, 1);
  write_file("file.dat", data.substr(0, 100));
  expect_rebuild(kIsBadFile, 0, 0);
}

// The header is whole, but claims impossible values.
TEST_F(IsamTest, KeysThatNoFileCanHaveAreRefused) {
  ASSERT_EQ(ISCLOSE(build()), 0);
  const std::string good = read_file("file.dat");
  const std::pair<int, std::function<void(isam::DataHeader&)>> rows[] = {
      {kIsBadKey, [](isam::DataHeader& header) { header.key_count = 17; }},
      {kIsBadKey, [](isam::DataHeader& header) { header.key_count = 0; }},
      {kIsBadKey, [](isam::DataHeader& header) { header.keys[0].part_count = 9; }},
      {kIsBadKey, [](isam::DataHeader& header) { header.keys[0].parts[0].start = 5; }},
      {kIsBadFile, [](isam::DataHeader& header) { header.record_length = 0; }},
      {0, [](isam::DataHeader&) {}}};
  for (const auto& [error, change] : rows) {
    isam::DataHeader header;
    std::memcpy(&header, good.data(), sizeof header);
    change(header);
    header.checksum = isam::data_header_checksum(header);
    std::string bytes = good;
    for (const std::uint64_t offset : isam::kDataHeaders)
      std::memcpy(bytes.data() + offset, &header, sizeof header);
    write_file("file.dat", bytes);
    const int file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(error_of(file), error);
    if (file >= 0) ISCLOSE(file);
    IsRebuildReport report;
    EXPECT_EQ(error_of(isrebuild("file", report)), error);
    EXPECT_EQ(error == 0 || read_file("file.dat") == bytes, true);
  }
}

TEST_F(IsamTest, LongWorkTellsHowFarItIs) {
  std::vector<std::uint64_t> told;
  const IsWatch watch = [&told](std::uint64_t done, std::uint64_t all) {
    EXPECT_LE(done, all);
    told.push_back(done);
  };
  const auto expect_told = [&told] {
    EXPECT_GT(told.size(), 1U);
    EXPECT_TRUE(std::ranges::is_sorted(told));
    told.clear();
  };
  const int file = build();
  for (int number = 0; number < 10'000; ++number)
    ASSERT_EQ(ISWRITE(file, record(number).data()), 0);
  std::vector<std::string> findings;
  EXPECT_EQ(ischeck(file, findings, watch), 0);
  expect_told();
  ASSERT_EQ(ISCLOSE(file), 0);
  IsRebuildReport report;
  EXPECT_EQ(isrebuild("file", report, watch), 0);
  expect_told();
  // Opening has no parameter for a watch.
  leave_without_indexes();
  bool ended = false;
  is_watch_rebuilds([&](const std::string& base, std::uint64_t done, std::uint64_t all) {
    EXPECT_EQ(base, "file");
    watch(done, all);
    ended = done == all;
  });
  EXPECT_EQ(ISCLOSE(ISOPEN("file", kSharedMode)), 0);
  is_watch_rebuilds({});
  EXPECT_TRUE(ended);
  expect_told();
}

TEST_F(IsamTest, FindingsCountInSingularAndPlural) {
  const int file = build();
  play(file, "w1x");
  constexpr auto kRecords =
      offsetof(isam::IndexHeader, contents) + offsetof(isam::Contents, record_count);
  std::fstream("file.idx", std::ios::in | std::ios::out | std::ios::binary).seekp(kRecords).put(2);
  EXPECT_EQ(verify(file), "1 record; the header counts 2\n");
  std::vector<std::string> findings;
  EXPECT_EQ(isglance(file, findings), 0);
  EXPECT_EQ(findings,
            (std::vector<std::string>{"2 records in 1 slot", "key 1: 1 entry for 2 records"}));
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, AnIndexOfTheFormerVersionIsMadeAnewUnlessSomebodyNeedsIt) {
  const auto set_version = [](int version) {
    std::fstream file("file.idx", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(2).put(static_cast<char>(version));
  };
  const auto expect_open = [](int error) {
    const auto body = [](int found) { EXPECT_EQ(error_of(ISOPEN("file", kSharedMode)), found); };
    EXPECT_EQ(run_child(body, error), 0);
  };
  int file = build();
  play(file, "w1x w2y w3z d2");
  ASSERT_EQ(ISCLOSE(file), 0);
  for (const int unknown : {1, 5}) {
    set_version(unknown);
    expect_open(kIsBadFile);
  }
  std::string index = read_file("file.idx");
  std::fill(index.begin() + isam::kPageSize, index.end(), '\xFE');
  write_file("file.idx", index);
  set_version(2);
  file = ISOPEN("file", kSharedMode);
  EXPECT_EQ(verify(file), "");
  play(file, "e1=1x e2=111 e3=3z");
  ASSERT_EQ(ISCLOSE(file), 0);
  EXPECT_EQ(read_file("file.idx")[2], 4);
  file = ISOPEN("file", kSharedMode);
  set_version(2);
  expect_open(kIsFileLocked);
  // Deleted records that are not settled would come back.
  set_version(4);
  play(file, "d3");
  set_version(2);
  expect_open(kIsBadFile);
  set_version(4);
  ASSERT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, DeletedRecordsMakeRoomAlthoughNobodyFlushes) {
  const int file = build();
  file_fault_hook = [](FileCall call) {  // a small disk
    const auto used =
        std::filesystem::file_size("file.dat") + std::filesystem::file_size("file.idx");
    return call == FileCall::kReserve && used > 400'000 ? ENOSPC : 0;
  };
  int written = 0;
  while (ISWRITE(file, record(written).data()) == 0)
    ++written;
  EXPECT_EQ(iserrno, ENOSPC);
  EXPECT_EQ(iscount(file), written);
  EXPECT_EQ(verify(file), "");
  play(file, "d7 w7 d7 w7b d8 w8 w-1=" + std::to_string(ENOSPC));
  file_fault_hook = nullptr;
  for (int round = 0; round < 250'000; ++round)
    ASSERT_EQ(ISDELETE(file, record(8).data()) + ISWRITE(file, record(8).data()), 0) << iserrno;
  EXPECT_LT(std::filesystem::file_size("file.dat"), 6U << 20);
  play(file, "w-1 e7=7b e8=8a");
  expect_sound_and_close(file);
}

TEST_F(IsamTest, TheReportOfAnInconsistencyEndsTheProcess) {
  const auto report = [] {
    iserrno = 105;
    const isam::OperationScope outer("ISWRITE");
    const isam::OperationScope inner("TREEINSERT");
    isam::fatal_inconsistency("orders", "change", 42);
  };
  testing::internal::CaptureStderr();
  EXPECT_EQ(run_child(report), 1);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("FATAL: orders"), std::string::npos);
  EXPECT_EQ(read_file("disam.err"),
            "\nFATAL: orders\nerror 105 in change line 42 ( version version 3.4 (325.1) )\n"
            "ISWRITE TREEINSE \n");
}

TEST(IsamKeyTest, DescriptionsAreChecked) {
  const KeyPart good[] = {
      {0, 255}, {299, 1}, {0, 2, kIsInt2}, {296, 4, kIsInt4}, {0, 8, kIsDouble}};
  const KeyPart bad[] = {{0, 256},        {299, 2},          {-1, 2},   {0, 0},    {0, 3, kIsInt2},
                         {0, 2, kIsInt4}, {0, 4, kIsDouble}, {0, 1, 4}, {0, 1, -1}};
  for (const KeyPart& part : good)
    EXPECT_EQ(isam::validate_key({0, 1, {{part}}}, 300), 0) << part.length << " " << part.type;
  for (const KeyPart& part : bad)
    EXPECT_EQ(isam::validate_key({0, 1, {{part}}}, 300), kIsBadKey)
        << part.length << " " << part.type;
  for (const std::int16_t count : std::array<std::int16_t, 3>{0, -1, 9})
    EXPECT_EQ(isam::validate_key({0, count, {{good[1]}}}, 300), kIsBadKey) << count;
}

}  // namespace
// A process that may read an index can lock it for as long as it likes.
TEST(IsamLockTest, TheRegisterIsNotWaitedForWithoutEnd) {
  const WorkDirectory directory;
  ASSERT_EQ(file_make("file.idx", "index"), 0);
  MappedFile stranger;
  ASSERT_EQ(stranger.open("file.idx", FileAccess::kRead), 0);
  ASSERT_EQ(stranger.lock(isam::kRegisterLock, false), 0);
  isam::File file;
  ASSERT_EQ(file.index.open("file.idx", FileAccess::kReadWrite), 0);
  EXPECT_EQ(isam::register_lock(file, 20), kIsFileLocked);
  stranger.close();
  EXPECT_EQ(isam::register_lock(file, 20), 0);
  isam::register_unlock(file);
}

}  // namespace marigold::inner::test
