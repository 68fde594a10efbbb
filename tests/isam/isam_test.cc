// SPDX-License-Identifier: GPL-3.0-or-later
// Promises of the operations beyond finding records: keys and numbers, modes, errors, locks between
// processes, files that are full or damaged. model_test.cc tests which record a read finds.

#include "runtime/isam/common/isam.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string_view>

#include "runtime/isam/common/fatal.h"
#include "runtime/isam/common/key.h"
#include "runtime/isam/local/checksums.h"
#include "runtime/isam/local/file.h"
#include "runtime/isam/local/layout.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

constexpr KeyDescription kPrimary{0, 1, {{{0, 4, kIsInt4}}}};
constexpr KeyDescription kLetter{1, 1, {{{4, 1, kIsCharacters}}}};
constexpr KeyDescription kBoth{1, 2, {{{4, 1, kIsCharacters}, {0, 4, kIsInt4}}}};

// Returns a record with a primary key and a letter at 4.
std::string record(std::int32_t number, char letter = 'a') {
  std::string bytes(8, letter);
  isst_int4(number, bytes.data());
  return bytes;
}

int step(int file, char what, std::string& bytes) {
  constexpr std::string_view kReads = "flnpceg";  // by their modes; a capital letter locks
  const int lock = std::isupper(static_cast<unsigned char>(what)) != 0 ? kIsLock : 0;
  const auto small = static_cast<char>(std::tolower(static_cast<unsigned char>(what)));
  if (what == 'w') return ISWRITE(file, bytes.data());
  if (what == 'd') return ISDELETE(file, bytes.data());
  if (what == 'k') return ISSTART(file, kLetter, 0, bytes.data(), kIsEqual);
  if (what == 'r') return ISRELEASE(file);
  return ISREAD(file, bytes.data(), static_cast<int>(kReads.find(small)) | lock);
}

// Plays steps like "w20x" (write record 20 with the letter x) and "n=20x" (read the next one, which
// is that record). After the sign stands the record that a read finds, or the number of the error.
void play(int file, const std::string& steps) {
  std::istringstream words(steps);
  std::string played;
  for (std::string word; words >> word;) {
    word = word.substr(0, word.find('='));
    std::int32_t number = 0;
    char letter = 'a';
    std::sscanf(word.c_str() + 1, "%d%c", &number, &letter);
    std::string bytes = record(number, letter);
    const bool reads = std::string_view("wdkr").find(word[0]) == std::string_view::npos;
    const int error = error_of(step(file, word[0], bytes));
    played += (played.empty() ? "" : " ") + word;
    if (error != 0 || reads) played += '=';
    if (error != 0) played += std::to_string(error);
    if (error == 0 && reads) played += std::to_string(isld_int4(bytes.data())) + bytes[4];
  }
  EXPECT_EQ(played, steps);
}

// Plays steps in another process, which then ends.
void play_elsewhere(const std::string& steps) {
  const auto body = [](const std::string& played) { play(ISOPEN("file", kSharedMode), played); };
  EXPECT_EQ(run_child(body, steps), 0);
}

int build(int mode = kExclusiveMode) {
  return ISBUILD("file", 8, kPrimary, mode);
}

struct IsamTest : testing::Test {
  WorkDirectory directory;
};

TEST_F(IsamTest, ArgumentsAreChecked) {
  EXPECT_EQ(error_of(ISOPEN("missing", kSharedMode)), ENOENT);
  ASSERT_EQ(ISCLOSE(build()), 0);
  for (const int mode : {0x602, 0xA00, 0xE00, 3, 15})
    EXPECT_EQ(error_of(ISOPEN("file", mode)), kIsBadArgument) << mode;
  for (const int mode : {14, 0x8400, 0})
    EXPECT_EQ(error_of(ISCLOSE(ISOPEN("file", mode))), 0) << mode;
  for (const auto& [name, length, error] : {std::tuple{"file"s, 8, EEXIST},
                                            {std::string(1025, 'x'), 8, kIsNameTooLong},
                                            {"other", 0, kIsBadArgument},
                                            {"other", 32768, kIsBadArgument},
                                            {"other", 3, kIsBadKey}})
    EXPECT_EQ(error_of(ISBUILD(name.c_str(), length, kPrimary, kExclusiveMode)), error) << length;
  EXPECT_FALSE(std::filesystem::exists("other.idx") || std::filesystem::exists("other.dat"));
  EXPECT_EQ(ISCLOSE(ISBUILD("*direct", 8, kPrimary, kExclusiveMode)), 0);
  EXPECT_EQ(read_file("direct").substr(0, 2), "\xFE\x53");  // the index file has this very name
  EXPECT_EQ(ISCLOSE(ISOPEN("*direct", kSharedMode)), 0);
  for (const int descriptor : {-1, 0, 29, 30})
    EXPECT_EQ(error_of(ISFLUSH(descriptor)), kIsNotOpen);
  for (int i = 0; i < 30; ++i)
    ASSERT_EQ(ISOPEN("file", kSharedMode), i);
  EXPECT_EQ(error_of(ISOPEN("file", kSharedMode)), kIsTooMany);
  for (int i = 0; i < 30; ++i)
    EXPECT_EQ(ISCLOSE(i), 0);
}

TEST_F(IsamTest, KeysAreAddedOverTheRecordsOfAFileOfOnesOwn) {
  const int file = build();
  const KeyDescription unique{0, 1, {{{5, 1, kIsCharacters}}}};
  play(file, "w3x w1x w2x k0x=103");
  EXPECT_EQ(error_of(ISADDINDEX(file, unique)), kIsDuplicate);
  EXPECT_EQ(error_of(ISADDINDEX(file, kPrimary)), kIsKeyExists);
  ASSERT_EQ(ISADDINDEX(file, kLetter), 0);
  // A record that is written again comes last among records with an equal value of the key.
  play(file, "d3 w3x k0x c=1x n=2x n=3x");
  // Only the first byte of the key counts: all records are equal then, and none is greater.
  ASSERT_EQ(ISADDINDEX(file, kBoth), 0);
  EXPECT_EQ(error_of(ISSTART(file, kBoth, 1, record(99, 'x').data(), kIsEqual)), 0);
  play(file, "c=1x");
  EXPECT_EQ(error_of(ISSTART(file, kBoth, 1, record(-9, 'x').data(), kIsGreater)), kIsNoRecord);
  play(file, "p=3x d1 d2");
  ASSERT_EQ(ISADDINDEX(file, unique), 0);
  play(file, "w4x=100");
  EXPECT_EQ(iscount(file), 1);
  for (std::int16_t i = 4; i <= kIsMostKeys; ++i) {
    const KeyPart part{static_cast<std::int16_t>(i % 7), static_cast<std::int16_t>(1 + i / 7)};
    const KeyDescription key{1, 2, {{part, part}}};
    EXPECT_EQ(error_of(ISADDINDEX(file, key)), i < kIsMostKeys ? 0 : kIsBadKey) << i;
  }
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  EXPECT_EQ(error_of(ISADDINDEX(shared, kLetter)), kIsNotExclusive);
  play(shared, "f=3x");
  EXPECT_EQ(ISCLOSE(shared), 0);
}

// A node loses its first child, takes a record that belongs into the gap, and merges with its left
// neighbour: its bound must then become the bound of the first child. The keys are so long that a
// node holds seven.
TEST_F(IsamTest, ARecordInTheGapOfALostChildStaysInReach) {
  const int file = ISBUILD("file", 255, {0, 1, {{{0, 255, kIsCharacters}}}}, kExclusiveMode);
  const auto each = [&](int (*operation)(int, const char*), int from, int to) {
    for (int number = from; number != to; number += from < to ? 1 : -1)
      ASSERT_EQ(operation(file, (std::to_string(number) + std::string(252, ' ')).data()), 0);
  };
  each(ISWRITE, 100, 340);
  each(ISDELETE, 205, 220);
  each(ISWRITE, 210, 211);
  each(ISDELETE, 339, 230);
  EXPECT_EQ(verify(file), "");
  each(ISDELETE, 210, 211);
  EXPECT_EQ(ISCLOSE(file), 0);
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

TEST_F(IsamTest, ModesSayWhoMayDoWhat) {
  const auto refuses = [](int mode) {
    const auto body = [](int own) { EXPECT_EQ(error_of(ISOPEN("file", own)), kIsFileLocked); };
    body(mode);
    EXPECT_EQ(run_child(body, mode), 0);
  };
  const int file = build();
  refuses(kSharedMode);
  ASSERT_EQ(ISCLOSE(file), 0);
  const int input = ISOPEN("file", kIsInput | kIsManualLock);
  const int output = ISOPEN("file", kIsOutput | kIsManualLock);
  refuses(kExclusiveMode);
  play_elsewhere("w1");
  play(output, "w2 f=101");
  play(input, "f=1a w3=101 d1=101");
  EXPECT_EQ(ISCLOSE(input) + ISCLOSE(output), 0);
}

TEST_F(IsamTest, RecordLocksHoldBetweenProcesses) {
  int file = build(kSharedMode);
  play(file, "w1 w2 w3 E2=2a");
  // A lock keeps out only processes that lock as well. A process that dies gives its locks back.
  play_elsewhere("e2=2a E2=107 n=3a d2=107 E3=3a");
  const int second = ISOPEN("file", kSharedMode);  // in the same process: no conflict
  play(second, "E2=2a E3=3a");
  EXPECT_EQ(ISCLOSE(second), 0);
  // A process that replaces a record under its lock keeps the lock, also while the record is
  // missing.
  play(file, "d2");
  play_elsewhere("e2=111 E2=107 w2x=107");
  play(file, "w2b");
  play_elsewhere("e2=2b E2=107 d2=107");
  play(file, "d2 r");
  play_elsewhere("E2=111 E3=3a w2x");
  play(file, "e2=2x");
  EXPECT_EQ(ISCLOSE(file), 0);
  // Each read locks, and unlocks the record before.
  file = ISOPEN("file", kIsInputOutput | kIsAutoLock);
  play(file, "f=1a n=2x");
  play_elsewhere("E1=1a E2=107");
  EXPECT_EQ(ISCLOSE(file), 0);
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
