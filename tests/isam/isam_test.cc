// What the operations promise beyond finding records: modes, errors, positions, locks between
// processes.

#include "runtime/isam/isam.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <limits>

#include "runtime/isam/fatal.h"
#include "tests/isam/support.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

constexpr int kExclusiveMode = kIsInputOutput | kIsExclusive;
constexpr int kSharedMode = kIsInputOutput | kIsManualLock;

// Runs in another process; true when everything that it expected held.
bool elsewhere(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body() ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;
}

struct IsamTest : testing::Test {
  // A record of the primary key and a letter at 4.
  static std::string record(std::int32_t number, char letter = 'a') {
    std::string bytes(8, letter);
    isst_int4(number, bytes.data());
    return bytes;
  }
  static int build(const char* base = "file") { return ISBUILD(base, 8, kPrimary, kExclusiveMode); }
  // What a read delivers: the number and the letter, or the error.
  static std::string read(int file, int mode, std::int32_t number = 0, char letter = 'a') {
    std::string bytes = record(number, letter);
    if (ISREAD(file, bytes.data(), mode) != 0) return std::to_string(iserrno);
    return std::to_string(isld_int4(bytes.data())) + bytes[4];
  }
  static std::string read_all(int file, std::initializer_list<int> modes) {
    std::string delivered;
    for (const int mode : modes)
      delivered += read(file, mode) + " ";
    return delivered;
  }
  static constexpr KeyDescription kPrimary{
      .flags = 0, .part_count = 1, .parts = {{{0, 4, kIsInt4}}}};
  static constexpr KeyDescription kLetter{
      .flags = 1, .part_count = 1, .parts = {{{4, 1, kIsCharacters}}}};
  test::WorkDirectory directory;
};

TEST_F(IsamTest, ArgumentsAreChecked) {
  struct Row {
    int mode;
    int error;
  };
  EXPECT_EQ(ISOPEN("missing", kSharedMode), -1);
  EXPECT_EQ(iserrno, 2);
  ASSERT_EQ(ISCLOSE(build()), 0);
  for (const Row& row :
       {Row{0x600 | 2, kIsBadArgument}, Row{0xA00, kIsBadArgument}, Row{0xE00, kIsBadArgument},
        Row{3, kIsBadArgument}, Row{15, kIsBadArgument}, Row{14, 0}, Row{0x8400, 0}, Row{0, 0}}) {
    const int file = ISOPEN("file", row.mode);
    EXPECT_EQ(file < 0 ? iserrno : 0, row.error) << row.mode;
    if (file >= 0) ISCLOSE(file);
  }
  EXPECT_EQ(build(), -1);
  EXPECT_EQ(iserrno, 17);
  EXPECT_EQ(ISBUILD(std::string(1025, 'x').c_str(), 8, kPrimary, kExclusiveMode), -1);
  EXPECT_EQ(iserrno, kIsNameTooLong);
  for (const int length : {0, 32768}) {
    EXPECT_EQ(ISBUILD("other", length, kPrimary, kExclusiveMode), -1) << length;
    EXPECT_EQ(iserrno, kIsBadArgument);
  }
  EXPECT_EQ(ISBUILD("other", 3, kPrimary, kExclusiveMode), -1);
  EXPECT_EQ(iserrno, kIsBadKey);
  EXPECT_FALSE(std::filesystem::exists("other.idx") || std::filesystem::exists("other.dat"));
  for (const int descriptor : {-1, 0, 29, 30}) {
    EXPECT_EQ(ISFLUSH(descriptor), -1);
    EXPECT_EQ(iserrno, kIsNotOpen);
  }
}

TEST_F(IsamTest, ThirtyFilesCanBeOpen) {
  ASSERT_EQ(ISCLOSE(build()), 0);
  for (int i = 0; i < 30; ++i)
    ASSERT_EQ(ISOPEN("file", kSharedMode), i);
  EXPECT_EQ(ISOPEN("file", kSharedMode), -1);
  EXPECT_EQ(iserrno, kIsTooMany);
  for (int i = 0; i < 30; ++i)
    EXPECT_EQ(ISCLOSE(i), 0);
}

TEST_F(IsamTest, AStarNamesTheIndexFile) {
  const int file = ISBUILD("*direct", 8, kPrimary, kExclusiveMode);
  ASSERT_GE(file, 0);
  EXPECT_EQ(ISCLOSE(file), 0);
  EXPECT_EQ(test::read_file("direct").substr(0, 2), "\xFE\x53");
  EXPECT_EQ(ISCLOSE(ISOPEN("*direct", kSharedMode)), 0);
}

TEST_F(IsamTest, PositionsLieAtRecordsOrBetweenThem) {
  const int file = build();
  for (const int number : {10, 20, 30})
    ASSERT_EQ(ISWRITE(file, record(number).data()), 0);
  EXPECT_EQ(read(file, kIsCurrent), "112");
  EXPECT_EQ(read(file, kIsNext), "10a");  // before the first one after opening
  // Found: the current one.
  EXPECT_EQ(ISSTART(file, kPrimary, 0, record(20).data(), kIsEqual), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext}), "20a 30a ");
  // Not found: between its neighbours.
  for (const auto& [mode, expected] :
       {std::pair{kIsNext, "20a"}, {kIsPrevious, "10a"}, {kIsCurrent, "112"}}) {
    EXPECT_EQ(ISSTART(file, kPrimary, 0, record(15).data(), kIsEqual), -1);
    EXPECT_EQ(iserrno, kIsNoRecord);
    EXPECT_EQ(read(file, mode), expected);
  }
  // Behind the end, and back.
  EXPECT_EQ(read_all(file, {kIsLast, kIsNext, kIsNext, kIsPrevious}), "30a 110 110 30a ");
  EXPECT_EQ(read_all(file, {kIsFirst, kIsPrevious, kIsNext}), "10a 110 10a ");
  // Deleting the current one leaves the place; writing does not move it.
  EXPECT_EQ(read(file, kIsEqual, 20), "20a");
  ASSERT_EQ(ISDELETE(file, record(20).data()), 0);
  ASSERT_EQ(ISWRITE(file, record(25).data()), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext}), "112 25a ");
  EXPECT_EQ(ISSTART(file, kLetter, 0, record(1).data(), kIsEqual), -1);
  EXPECT_EQ(iserrno, kIsBadKey);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, EqualKeysComeAsTheyWereWrittenAndPartOfAKeyCanBeLookedFor) {
  const int file = build();
  for (const int number : {3, 1, 2})
    ASSERT_EQ(ISWRITE(file, record(number, 'x').data()), 0);
  ASSERT_EQ(ISADDINDEX(file, kLetter), 0);  // over the records that are there
  ASSERT_EQ(ISDELETE(file, record(3).data()), 0);
  ASSERT_EQ(ISWRITE(file, record(3, 'x').data()),
            0);  // takes the freed place in the file, not in the order
  EXPECT_EQ(ISSTART(file, kLetter, 0, record(0, 'x').data(), kIsEqual), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext, kIsNext}), "1x 2x 3x ");
  const KeyDescription wide{
      .flags = 1, .part_count = 2, .parts = {{{4, 1, kIsCharacters}, {0, 4, kIsInt4}}}};
  ASSERT_EQ(ISADDINDEX(file, wide), 0);
  EXPECT_EQ(ISSTART(file, wide, 1, record(99, 'x').data(), kIsEqual), 0);
  EXPECT_EQ(read(file, kIsCurrent), "1x");
  EXPECT_EQ(ISSTART(file, wide, 1, record(-99, 'x').data(), kIsGreater), -1);
  EXPECT_EQ(read(file, kIsPrevious), "3x");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// A node loses its first child, takes a record that belongs in the gap, and is joined with its left
// neighbour: what bounded it from below must then bound the child that came first. Keys so long
// that a node holds 15.
TEST_F(IsamTest, ARecordInTheGapOfALostChildStaysInReach) {
  const KeyDescription key{.flags = 0, .part_count = 1, .parts = {{{0, 255, kIsCharacters}}}};
  const int file = ISBUILD("file", 255, key, kExclusiveMode);
  const auto long_record = [](int number) {
    std::string bytes(255, ' ');
    return bytes.replace(0, 3, std::to_string(number));
  };
  for (int number = 100; number < 340; ++number)
    ASSERT_EQ(ISWRITE(file, long_record(number).data()), 0);
  for (int number = 205; number < 220; ++number)
    ASSERT_EQ(ISDELETE(file, long_record(number).data()), 0);
  ASSERT_EQ(ISWRITE(file, long_record(210).data()), 0);
  for (int number = 339; number > 230; --number) {
    ASSERT_EQ(ISDELETE(file, long_record(number).data()), 0);
  }
  std::vector<std::string> findings;
  ASSERT_EQ(ischeck(file, findings), 0);
  EXPECT_EQ(findings, std::vector<std::string>{});
  EXPECT_EQ(ISDELETE(file, long_record(210).data()), 0);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, KeysAreAddedOnlyToAFileOfOnesOwn) {
  const int file = build();
  const KeyDescription unique{.flags = 0, .part_count = 1, .parts = {{{4, 1, kIsCharacters}}}};
  ASSERT_EQ(ISWRITE(file, record(1, 'x').data()), 0);
  ASSERT_EQ(ISWRITE(file, record(2, 'x').data()), 0);
  EXPECT_EQ(ISADDINDEX(file, unique), -1);
  EXPECT_EQ(iserrno, kIsDuplicate);
  EXPECT_EQ(ISADDINDEX(file, kPrimary), -1);
  EXPECT_EQ(iserrno, kIsKeyExists);
  ASSERT_EQ(ISDELETE(file, record(2).data()), 0);
  ASSERT_EQ(ISADDINDEX(file, unique), 0);
  EXPECT_EQ(ISWRITE(file, record(3, 'x').data()), -1);
  EXPECT_EQ(iserrno, kIsDuplicate);
  EXPECT_EQ(iscount(file), 1);
  for (std::int16_t i = 2; i < kIsMostKeys; ++i) {
    KeyDescription key = kLetter;
    key.parts[0].start = static_cast<std::int16_t>(i % 7);
    key.parts[0].length = static_cast<std::int16_t>(1 + i / 7);
    if (i % 7 == 4 && i < 7) key.parts[0].length = 4;
    ASSERT_EQ(ISADDINDEX(file, key), 0) << i << " " << iserrno;
  }
  EXPECT_EQ(ISADDINDEX(file, {.flags = 1, .part_count = 1, .parts = {{{0, 8, kIsCharacters}}}}),
            -1);
  EXPECT_EQ(iserrno, kIsBadKey);
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  EXPECT_EQ(ISADDINDEX(shared, kLetter), -1);
  EXPECT_EQ(iserrno, kIsNotExclusive);
  EXPECT_EQ(read(shared, kIsFirst), "1x");
  EXPECT_EQ(ISCLOSE(shared), 0);
}

TEST_F(IsamTest, AnExclusiveFileIsNobodyElses) {
  const int file = build();
  const auto refused = [] { return ISOPEN("file", kSharedMode) == -1 && iserrno == kIsFileLocked; };
  EXPECT_TRUE(refused());
  EXPECT_TRUE(elsewhere(refused));
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  const auto exclusive_refused = [] {
    return ISOPEN("file", kExclusiveMode) == -1 && iserrno == kIsFileLocked;
  };
  EXPECT_TRUE(exclusive_refused());
  EXPECT_TRUE(elsewhere(exclusive_refused));
  EXPECT_TRUE(elsewhere([] { return ISOPEN("file", kSharedMode) >= 0; }));
  EXPECT_EQ(ISCLOSE(shared), 0);
}

TEST_F(IsamTest, RecordLocksHoldBetweenProcesses) {
  int file = build();
  for (const int number : {1, 2, 3})
    ASSERT_EQ(ISWRITE(file, record(number).data()), 0);
  ASSERT_EQ(ISCLOSE(file), 0);
  file = ISOPEN("file", kSharedMode);
  EXPECT_EQ(read(file, kIsEqual | kIsLock, 2), "2a");
  EXPECT_TRUE(elsewhere([] {
    const int other = ISOPEN("file", kSharedMode);
    const bool reads =
        read(other, kIsEqual, 2) == "2a";  // without the lock nothing stands in the way
    const bool refused =
        read(other, kIsEqual | kIsLock, 2) == "107" && read(other, kIsNext) == "3a";
    const bool kept = ISDELETE(other, record(2).data()) == -1 && iserrno == kIsLocked;
    return reads && refused && kept &&
           read(other, kIsEqual | kIsLock, 3) == "3a";  // given back by its death
  }));
  const int second = ISOPEN("file", kSharedMode);  // of the same process: no conflict
  EXPECT_EQ(read(second, kIsEqual | kIsLock, 2), "2a");
  EXPECT_EQ(read(second, kIsEqual | kIsLock, 3), "3a");
  EXPECT_EQ(ISCLOSE(second), 0);
  EXPECT_EQ(ISRELEASE(file), 0);
  const auto can_lock = [](int number) {
    return elsewhere([number] {
      return read(ISOPEN("file", kSharedMode), kIsEqual | kIsLock, number) ==
             std::to_string(number) + "a";
    });
  };
  EXPECT_TRUE(can_lock(2) && can_lock(3));
  EXPECT_EQ(ISCLOSE(file), 0);
  file = ISOPEN("file",
                kIsInputOutput | kIsAutoLock);  // each read locks, and gives the one before back
  EXPECT_EQ(read_all(file, {kIsFirst, kIsNext}), "1a 2a ");
  EXPECT_TRUE(can_lock(1));
  EXPECT_FALSE(can_lock(2));
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, AccessIsWhatTheModeSays) {
  ASSERT_EQ(ISCLOSE(build()), 0);
  const int input = ISOPEN("file", kIsInput | kIsManualLock);
  EXPECT_EQ(ISWRITE(input, record(1).data()), -1);
  EXPECT_EQ(iserrno, kIsNotOpen);
  const int output = ISOPEN("file", kIsOutput | kIsManualLock);
  EXPECT_EQ(ISWRITE(output, record(1).data()), 0);
  EXPECT_EQ(read(output, kIsFirst), "101");
  EXPECT_EQ(read(input, kIsFirst), "1a");
  EXPECT_EQ(ISCLOSE(input) + ISCLOSE(output), 0);
}

TEST_F(IsamTest, AFullDiskIsAnErrorAndNotASignal) {
  const int file = build();
  // What the process may write stands for what the disk holds.
  const rlimit little{.rlim_cur = 400'000, .rlim_max = RLIM_INFINITY};
  signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &little), 0);
  int written = 0;
  while (ISWRITE(file, record(written).data()) == 0)
    ++written;
  EXPECT_EQ(iserrno, EFBIG);
  EXPECT_EQ(iscount(file), written);
  std::vector<std::string> findings;
  EXPECT_EQ(ischeck(file, findings), 0);
  EXPECT_TRUE(findings.empty());
  EXPECT_EQ(ISDELETE(file, record(7).data()), 0);  // needs no room
  const rlimit enough{.rlim_cur = RLIM_INFINITY, .rlim_max = RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &enough), 0);
  EXPECT_EQ(ISWRITE(file, record(written).data()), 0);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, TheReportOfAnInconsistencyEndsTheProcess) {
  iserrno = 105;
  const auto report = [] {
    const isam::OperationScope outer("ISWRITE");
    const isam::OperationScope inner("TREEINSERT");
    isam::fatal_inconsistency("orders", "change", 42);
  };
  const std::string text =
      "\nFATAL: orders\nerror 105 in change line 42 ( version version 3.4 (325.1) )\nISWRITE TREEINSE \n";
  EXPECT_EXIT(report(), testing::ExitedWithCode(1), "FATAL: orders");
  EXPECT_EQ(test::read_file("disam.err"), text);
}

}  // namespace
}  // namespace marigold
