// What the operations promise beyond finding records: modes, errors, positions, locks between
// processes.

#include "runtime/isam/isam.h"

#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "runtime/isam/fatal.h"
#include "tests/isam/support.h"

namespace marigold::test {
namespace {

// In another process, where everything expected has to hold as well.
void elsewhere(const std::function<void()>& body) {
  EXPECT_EQ(run_process(body), 0);
}

struct IsamTest : testing::Test {
  // A record of the primary key and a letter at 4.
  static std::string record(std::int32_t number, char letter = 'a') {
    std::string bytes(8, letter);
    isst_int4(number, bytes.data());
    return bytes;
  }
  static int build() { return ISBUILD("file", 8, kPrimary, kExclusiveMode); }
  // These give the error's number, 0 for none.
  static int write(int file, std::int32_t number, char letter = 'a') {
    return error_of(ISWRITE(file, record(number, letter).data()));
  }
  static int erase(int file, std::int32_t number) {
    return error_of(ISDELETE(file, record(number).data()));
  }
  static int start(int file, const KeyDescription& key, std::int32_t number, char letter = 'a',
                   int mode = kIsEqual, int length = 0) {
    return error_of(ISSTART(file, key, length, record(number, letter).data(), mode));
  }
  // What a read delivers: the number and the letter, or the error.
  static std::string read(int file, int mode, std::int32_t number = 0) {
    std::string bytes = record(number);
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
  WorkDirectory directory;
};

TEST_F(IsamTest, ArgumentsAreChecked) {
  EXPECT_EQ(error_of(ISOPEN("missing", kSharedMode)), ENOENT);
  ASSERT_EQ(ISCLOSE(build()), 0);
  EXPECT_EQ(error_of(build()), EEXIST);
  for (const auto& [mode, error] : {std::pair{0x602, kIsBadArgument},
                                    {0xA00, kIsBadArgument},
                                    {0xE00, kIsBadArgument},
                                    {3, kIsBadArgument},
                                    {15, kIsBadArgument},
                                    {14, 0},
                                    {0x8400, 0},
                                    {0, 0}}) {
    const int file = ISOPEN("file", mode);
    EXPECT_EQ(error_of(file), error) << mode;
    if (file >= 0) ISCLOSE(file);
  }
  const std::string long_name(1025, 'x');
  EXPECT_EQ(error_of(ISBUILD(long_name.c_str(), 8, kPrimary, kExclusiveMode)), kIsNameTooLong);
  for (const auto& [length, error] :
       {std::pair{0, kIsBadArgument}, {32768, kIsBadArgument}, {3, kIsBadKey}})
    EXPECT_EQ(error_of(ISBUILD("other", length, kPrimary, kExclusiveMode)), error) << length;
  EXPECT_FALSE(std::filesystem::exists("other.idx") || std::filesystem::exists("other.dat"));
  for (const int descriptor : {-1, 0, 29, 30})
    EXPECT_EQ(error_of(ISFLUSH(descriptor)), kIsNotOpen);
  for (int i = 0; i < 30; ++i)
    ASSERT_EQ(ISOPEN("file", kSharedMode), i);
  EXPECT_EQ(error_of(ISOPEN("file", kSharedMode)), kIsTooMany);
  for (int i = 0; i < 30; ++i)
    EXPECT_EQ(ISCLOSE(i), 0);
}

TEST_F(IsamTest, AStarNamesTheIndexFile) {
  const int file = ISBUILD("*direct", 8, kPrimary, kExclusiveMode);
  ASSERT_GE(file, 0);
  EXPECT_EQ(ISCLOSE(file), 0);
  EXPECT_EQ(read_file("direct").substr(0, 2), "\xFE\x53");
  EXPECT_EQ(ISCLOSE(ISOPEN("*direct", kSharedMode)), 0);
}

TEST_F(IsamTest, PositionsLieAtRecordsOrBetweenThem) {
  const int file = build();
  for (const int number : {10, 20, 30})
    ASSERT_EQ(write(file, number), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext}), "112 10a ");  // before the first one at first
  // Found: the current one. Not found: between its neighbours.
  EXPECT_EQ(start(file, kPrimary, 20), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext}), "20a 30a ");
  for (const auto& [mode, expected] :
       {std::pair{kIsNext, "20a"}, {kIsPrevious, "10a"}, {kIsCurrent, "112"}}) {
    EXPECT_EQ(start(file, kPrimary, 15), kIsNoRecord);
    EXPECT_EQ(read(file, mode), expected);
  }
  // Behind the end, and back.
  EXPECT_EQ(read_all(file, {kIsLast, kIsNext, kIsNext, kIsPrevious}), "30a 110 110 30a ");
  EXPECT_EQ(read_all(file, {kIsFirst, kIsPrevious, kIsNext}), "10a 110 10a ");
  // Deleting the current one leaves the place; writing does not move it.
  EXPECT_EQ(read(file, kIsEqual, 20), "20a");
  ASSERT_EQ(erase(file, 20) + write(file, 25), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext}), "112 25a ");
  EXPECT_EQ(start(file, kLetter, 1), kIsBadKey);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, EqualKeysComeAsTheyWereWrittenAndPartOfAKeyCanBeLookedFor) {
  const int file = build();
  for (const int number : {3, 1, 2})
    ASSERT_EQ(write(file, number, 'x'), 0);
  ASSERT_EQ(ISADDINDEX(file, kLetter), 0);  // over the records that are there
  // Takes the freed place in the file, not in the order.
  ASSERT_EQ(erase(file, 3) + write(file, 3, 'x'), 0);
  EXPECT_EQ(start(file, kLetter, 0, 'x'), 0);
  EXPECT_EQ(read_all(file, {kIsCurrent, kIsNext, kIsNext}), "1x 2x 3x ");
  const KeyDescription wide{
      .flags = 1, .part_count = 2, .parts = {{{4, 1, kIsCharacters}, {0, 4, kIsInt4}}}};
  ASSERT_EQ(ISADDINDEX(file, wide), 0);
  EXPECT_EQ(start(file, wide, 99, 'x', kIsEqual, 1), 0);
  EXPECT_EQ(read(file, kIsCurrent), "1x");
  EXPECT_EQ(start(file, wide, -99, 'x', kIsGreater, 1), kIsNoRecord);
  EXPECT_EQ(read(file, kIsPrevious), "3x");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// A node loses its first child, takes a record that belongs in the gap, and is joined with its left
// neighbour: what bounded it from below must then bound the child that came first. Keys so long
// that a node holds 15.
TEST_F(IsamTest, ARecordInTheGapOfALostChildStaysInReach) {
  const KeyDescription key{.flags = 0, .part_count = 1, .parts = {{{0, 255, kIsCharacters}}}};
  const int file = ISBUILD("file", 255, key, kExclusiveMode);
  const auto each = [&](int (*operation)(int, const char*), int from, int to) {
    for (int number = from; number < to; ++number) {
      const std::string bytes = std::to_string(number) + std::string(252, ' ');
      ASSERT_EQ(operation(file, bytes.data()), 0);
    }
  };
  each(ISWRITE, 100, 340);
  each(ISDELETE, 205, 220);
  each(ISWRITE, 210, 211);
  for (int number = 339; number > 230; --number)
    each(ISDELETE, number, number + 1);
  EXPECT_EQ(walk(file), "");
  each(ISDELETE, 210, 211);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, KeysAreAddedOnlyToAFileOfOnesOwn) {
  const int file = build();
  const KeyDescription unique{.flags = 0, .part_count = 1, .parts = {{{4, 1, kIsCharacters}}}};
  ASSERT_EQ(write(file, 1, 'x') + write(file, 2, 'x'), 0);
  EXPECT_EQ(error_of(ISADDINDEX(file, unique)), kIsDuplicate);
  EXPECT_EQ(error_of(ISADDINDEX(file, kPrimary)), kIsKeyExists);
  ASSERT_EQ(erase(file, 2), 0);
  ASSERT_EQ(ISADDINDEX(file, unique), 0);
  EXPECT_EQ(write(file, 3, 'x'), kIsDuplicate);
  EXPECT_EQ(iscount(file), 1);
  for (std::int16_t i = 2; i <= kIsMostKeys; ++i) {
    const KeyPart part{static_cast<std::int16_t>(i % 7), static_cast<std::int16_t>(1 + i / 7)};
    const KeyDescription key{
        .flags = static_cast<std::int16_t>(i % 2), .part_count = 2, .parts = {{part, part}}};
    EXPECT_EQ(error_of(ISADDINDEX(file, key)), i < kIsMostKeys ? 0 : kIsBadKey) << i;
  }
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  EXPECT_EQ(error_of(ISADDINDEX(shared, kLetter)), kIsNotExclusive);
  EXPECT_EQ(read(shared, kIsFirst), "1x");
  EXPECT_EQ(ISCLOSE(shared), 0);
}

TEST_F(IsamTest, AnExclusiveFileIsNobodyElses) {
  const int file = build();
  const auto refused = [](int mode) {
    return [mode] { EXPECT_EQ(error_of(ISOPEN("file", mode)), kIsFileLocked); };
  };
  refused(kSharedMode)();
  elsewhere(refused(kSharedMode));
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  refused(kExclusiveMode)();
  elsewhere(refused(kExclusiveMode));
  elsewhere([] { EXPECT_GE(ISOPEN("file", kSharedMode), 0); });
  EXPECT_EQ(ISCLOSE(shared), 0);
}

struct IsamLockTest : IsamTest {
  void SetUp() override {
    const int file = build();
    for (const int number : {1, 2, 3})
      ASSERT_EQ(write(file, number), 0);
    ASSERT_EQ(ISCLOSE(file), 0);
  }
  // What another process gets that locks the record.
  static void lock_elsewhere(int number, const std::string& expected) {
    elsewhere([&] {
      EXPECT_EQ(read(ISOPEN("file", kSharedMode), kIsEqual | kIsLock, number), expected);
    });
  }
};

TEST_F(IsamLockTest, RecordLocksHoldBetweenProcesses) {
  int file = ISOPEN("file", kSharedMode);
  EXPECT_EQ(read(file, kIsEqual | kIsLock, 2), "2a");
  elsewhere([] {
    const int other = ISOPEN("file", kSharedMode);
    EXPECT_EQ(read(other, kIsEqual, 2), "2a");  // without the lock nothing stands in the way
    EXPECT_EQ(read(other, kIsEqual | kIsLock, 2), "107");
    EXPECT_EQ(read(other, kIsNext), "3a");
    EXPECT_EQ(erase(other, 2), kIsLocked);
    EXPECT_EQ(read(other, kIsEqual | kIsLock, 3), "3a");  // given back by its death
  });
  const int second = ISOPEN("file", kSharedMode);  // of the same process: no conflict
  EXPECT_EQ(read(second, kIsEqual | kIsLock, 2), "2a");
  EXPECT_EQ(read(second, kIsEqual | kIsLock, 3), "3a");
  EXPECT_EQ(ISCLOSE(second), 0);
  EXPECT_EQ(ISRELEASE(file), 0);
  lock_elsewhere(2, "2a");
  lock_elsewhere(3, "3a");
  EXPECT_EQ(ISCLOSE(file), 0);
  // Each read locks, and gives the one before back.
  file = ISOPEN("file", kIsInputOutput | kIsAutoLock);
  EXPECT_EQ(read_all(file, {kIsFirst, kIsNext}), "1a 2a ");
  lock_elsewhere(1, "1a");
  lock_elsewhere(2, "107");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// Whoever replaces a record under its lock keeps it, also while the record is not there.
TEST_F(IsamLockTest, ALockStandsForThePrimaryKey) {
  const int file = ISOPEN("file", kSharedMode);
  const auto refused = [] {
    const int other = ISOPEN("file", kSharedMode);
    EXPECT_EQ(read(other, kIsEqual | kIsLock, 2), "107");
    return other;
  };
  EXPECT_EQ(read(file, kIsEqual | kIsLock, 2), "2a");
  ASSERT_EQ(erase(file, 2), 0);
  elsewhere([&] { EXPECT_EQ(write(refused(), 2, 'x'), kIsLocked); });
  ASSERT_EQ(write(file, 2, 'b'), 0);
  elsewhere([&] { EXPECT_EQ(erase(refused(), 2), kIsLocked); });
  ASSERT_EQ(erase(file, 2), 0);
  EXPECT_EQ(ISRELEASE(file), 0);
  lock_elsewhere(2, "111");
  elsewhere([] { EXPECT_EQ(write(ISOPEN("file", kSharedMode), 2, 'x'), 0); });
  EXPECT_EQ(read(file, kIsEqual, 2), "2x");
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, AccessIsWhatTheModeSays) {
  ASSERT_EQ(ISCLOSE(build()), 0);
  const int input = ISOPEN("file", kIsInput | kIsManualLock);
  EXPECT_EQ(write(input, 1), kIsNotOpen);
  const int output = ISOPEN("file", kIsOutput | kIsManualLock);
  EXPECT_EQ(write(output, 1), 0);
  EXPECT_EQ(read(output, kIsFirst), "101");
  EXPECT_EQ(read(input, kIsFirst), "1a");
  EXPECT_EQ(ISCLOSE(input) + ISCLOSE(output), 0);
}

TEST_F(IsamTest, AFullDiskIsAnErrorAndNotASignal) {
  const int file = build();
  // What the process may write stands for what the disk holds.
  const auto limit = [](rlim_t bytes) {
    const rlimit sizes{.rlim_cur = bytes, .rlim_max = RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &sizes), 0);
  };
  signal(SIGXFSZ, SIG_IGN);
  limit(400'000);
  int written = 0;
  while (write(file, written) == 0)
    ++written;
  EXPECT_EQ(iserrno, EFBIG);
  EXPECT_EQ(iscount(file), written);
  EXPECT_EQ(walk(file), "");
  // What is deleted makes room, without a flush as well.
  for (const int number : {7, 7, 8})
    EXPECT_EQ(erase(file, number) + write(file, number, 'b'), 0) << iserrno;
  EXPECT_EQ(write(file, written), EFBIG);
  limit(RLIM_INFINITY);
  EXPECT_EQ(write(file, written), 0);
  EXPECT_EQ(walk(file), "");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// The places of deleted records come back although nobody flushes the file.
TEST_F(IsamTest, ARecordReplacedForEverTakesABoundedFile) {
  build_wide("file", {{1, wide_record(1, 0)}, {2, wide_record(2, 0)}});
  const int file = ISOPEN("file", kExclusiveMode);
  std::string record = wide_record(2, 1);
  for (std::int32_t round = 1; round <= 100'000; ++round) {
    isst_int4(round, record.data() + 220);
    ASSERT_EQ(ISDELETE(file, record.data()) + ISWRITE(file, record.data()), 0) << iserrno;
  }
  EXPECT_LT(std::filesystem::file_size("file.dat"), 16U << 20);
  EXPECT_EQ(walk(file), "");
  EXPECT_EQ(ISCLOSE(file), 0);
  Contents found;
  EXPECT_EQ(examine("file", found), "");
  EXPECT_EQ(found, (Contents{{1, wide_record(1, 0)}, {2, record}}));
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
  EXPECT_EQ(read_file("disam.err"), text);
}

}  // namespace
}  // namespace marigold::test
