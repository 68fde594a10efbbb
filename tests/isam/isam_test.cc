// What the operations promise beyond finding records: modes, errors, positions, locks between
// processes.

#include "runtime/isam/isam.h"

#include <sys/resource.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string_view>

#include "runtime/isam/fatal.h"
#include "runtime/isam/layout.h"
#include "tests/isam/support.h"

namespace marigold::test {
namespace {

constexpr KeyDescription kPrimary{0, 1, {{{0, 4, kIsInt4}}}};
constexpr KeyDescription kLetter{1, 1, {{{4, 1, kIsCharacters}}}};
constexpr KeyDescription kWide{1, 2, {{{4, 1, kIsCharacters}, {0, 4, kIsInt4}}}};

// A record of the primary key and a letter at 4.
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
  if (what == 's') return ISSTART(file, kPrimary, 0, bytes.data(), kIsEqual);
  if (what == 'k') return ISSTART(file, kLetter, 0, bytes.data(), kIsEqual);
  if (what == 'r') return ISRELEASE(file);
  return ISREAD(file, bytes.data(), static_cast<int>(kReads.find(small)) | lock);
}

// Plays steps like "w20x" (write record 20 with the letter x) and "n" (read the next one): for each
// the error's number, the record after a read, or "ok".
std::string play(int file, const std::string& steps) {
  std::istringstream words(steps);
  std::string results;
  for (std::string word; words >> word;) {
    char* letter = nullptr;
    const long number = std::strtol(word.c_str() + 1, &letter, 10);
    std::string bytes = record(static_cast<std::int32_t>(number), *letter == '\0' ? 'a' : *letter);
    const int error = error_of(step(file, word[0], bytes));
    const bool reads = std::string_view("wdskr").find(word[0]) == std::string_view::npos;
    results += results.empty() ? "" : " ";
    results += error != 0 ? std::to_string(error)
               : !reads   ? "ok"
                          : std::to_string(isld_int4(bytes.data())) + bytes[4];
  }
  return results;
}

// The same in another process, which then ends.
void play_elsewhere(const std::string& steps, const std::string& results) {
  const auto body = [&] { EXPECT_EQ(play(ISOPEN("file", kSharedMode), steps), results); };
  EXPECT_EQ(run_process(body), 0);
}

int build() {
  return ISBUILD("file", 8, kPrimary, kExclusiveMode);
}

struct IsamTest : testing::Test {
  WorkDirectory directory;
};

TEST_F(IsamTest, ArgumentsAreChecked) {
  EXPECT_EQ(error_of(ISOPEN("missing", kSharedMode)), ENOENT);
  ASSERT_EQ(ISCLOSE(build()), 0);
  EXPECT_EQ(error_of(build()), EEXIST);
  for (const int mode : {0x602, 0xA00, 0xE00, 3, 15})
    EXPECT_EQ(error_of(ISOPEN("file", mode)), kIsBadArgument) << mode;
  for (const int mode : {14, 0x8400, 0})
    EXPECT_EQ(error_of(ISCLOSE(ISOPEN("file", mode))), 0) << mode;
  const std::string long_name(1025, 'x');
  EXPECT_EQ(error_of(ISBUILD(long_name.c_str(), 8, kPrimary, kExclusiveMode)), kIsNameTooLong);
  for (const auto& [length, error] :
       {std::pair{0, kIsBadArgument}, {32768, kIsBadArgument}, {3, kIsBadKey}})
    EXPECT_EQ(error_of(ISBUILD("other", length, kPrimary, kExclusiveMode)), error) << length;
  EXPECT_FALSE(std::filesystem::exists("other.idx") || std::filesystem::exists("other.dat"));
  EXPECT_EQ(ISCLOSE(ISBUILD("*direct", 8, kPrimary, kExclusiveMode)), 0);
  EXPECT_EQ(read_file("direct").substr(0, 2), "\xFE\x53");  // the index file's very name
  EXPECT_EQ(ISCLOSE(ISOPEN("*direct", kSharedMode)), 0);
  for (const int descriptor : {-1, 0, 29, 30})
    EXPECT_EQ(error_of(ISFLUSH(descriptor)), kIsNotOpen);
  for (int i = 0; i < 30; ++i)
    ASSERT_EQ(ISOPEN("file", kSharedMode), i);
  EXPECT_EQ(error_of(ISOPEN("file", kSharedMode)), kIsTooMany);
  for (int i = 0; i < 30; ++i)
    EXPECT_EQ(ISCLOSE(i), 0);
}

TEST_F(IsamTest, PositionsLieAtRecordsOrBetweenThem) {
  const int file = build();
  EXPECT_EQ(play(file, "w10 w20 w30"), "ok ok ok");
  for (const auto& [steps, results] :
       {std::pair{"c n", "112 10a"},                       // before the first one
        {"s20 c n", "ok 20a 30a"},                         // found: the current one
        {"s15 n s15 p s15 c", "111 20a 111 10a 111 112"},  // between its neighbours
        {"l n n p f p n", "30a 110 110 30a 10a 110 10a"},  // behind the ends, and back
        {"e20 d20 w25 c n p", "20a ok ok 112 25a 10a"},    // deleted: the place stays
        {"k1", "103"}})
    EXPECT_EQ(play(file, steps), results);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, EqualKeysComeAsTheyWereWrittenAndPartOfAKeyCanBeLookedFor) {
  const int file = build();
  EXPECT_EQ(play(file, "w3x w1x w2x"), "ok ok ok");
  ASSERT_EQ(ISADDINDEX(file, kLetter), 0);  // over the records that are there
  // One written anew takes the freed place in the file, not in the order.
  EXPECT_EQ(play(file, "d3 w3x k0x c n n"), "ok ok ok 1x 2x 3x");
  ASSERT_EQ(ISADDINDEX(file, kWide), 0);
  EXPECT_EQ(error_of(ISSTART(file, kWide, 1, record(99, 'x').data(), kIsEqual)), 0);
  EXPECT_EQ(play(file, "c"), "1x");
  EXPECT_EQ(error_of(ISSTART(file, kWide, 1, record(-9, 'x').data(), kIsGreater)), kIsNoRecord);
  EXPECT_EQ(play(file, "p"), "3x");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// A node loses its first child, takes a record that belongs in the gap, and is joined with its left
// neighbour: what bounded it from below must then bound the child that came first. Keys so long
// that a node holds 15.
TEST_F(IsamTest, ARecordInTheGapOfALostChildStaysInReach) {
  const KeyDescription key{0, 1, {{{0, 255, kIsCharacters}}}};
  const int file = ISBUILD("file", 255, key, kExclusiveMode);
  const auto each = [&](int (*operation)(int, const char*), int from, int to) {
    for (int number = from; number != to; number += from < to ? 1 : -1) {
      const std::string bytes = std::to_string(number) + std::string(252, ' ');
      ASSERT_EQ(operation(file, bytes.data()), 0);
    }
  };
  each(ISWRITE, 100, 340);
  each(ISDELETE, 205, 220);
  each(ISWRITE, 210, 211);
  each(ISDELETE, 339, 230);
  EXPECT_EQ(walk(file), "");
  each(ISDELETE, 210, 211);
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, KeysAreAddedOnlyToAFileOfOnesOwn) {
  const int file = build();
  KeyDescription unique = kLetter;
  unique.flags = 0;
  EXPECT_EQ(play(file, "w1x w2x"), "ok ok");
  EXPECT_EQ(error_of(ISADDINDEX(file, unique)), kIsDuplicate);
  EXPECT_EQ(error_of(ISADDINDEX(file, kPrimary)), kIsKeyExists);
  EXPECT_EQ(play(file, "d2"), "ok");
  ASSERT_EQ(ISADDINDEX(file, unique), 0);
  EXPECT_EQ(play(file, "w3x"), "100");
  EXPECT_EQ(iscount(file), 1);
  for (std::int16_t i = 2; i <= kIsMostKeys; ++i) {
    const KeyPart part{static_cast<std::int16_t>(i % 7), static_cast<std::int16_t>(1 + i / 7)};
    const KeyDescription key{1, 2, {{part, part}}};
    EXPECT_EQ(error_of(ISADDINDEX(file, key)), i < kIsMostKeys ? 0 : kIsBadKey) << i;
  }
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  EXPECT_EQ(error_of(ISADDINDEX(shared, kLetter)), kIsNotExclusive);
  EXPECT_EQ(play(shared, "f"), "1x");
  EXPECT_EQ(ISCLOSE(shared), 0);
}

// Whatever stands in the place of the index, the records come from the data file.
TEST_F(IsamTest, AnIndexIsMadeAnew) {
  const auto rebuild = [] {
    IsRebuildReport report;
    const int error = error_of(isrebuild("file", report));
    return std::to_string(error) + " " + std::to_string(report.records) + " " +
           std::to_string(report.lost);
  };
  int file = build();
  EXPECT_EQ(play(file, "w1x w2y w3z d2"), "ok ok ok ok");
  EXPECT_EQ(rebuild(), "113 0 0");
  ASSERT_EQ(ISCLOSE(file), 0);
  const std::string data = read_file("file.dat");
  for (const std::string& index :
       {read_file("file.idx"), ""s, "no index"s, std::string(9000, '\xFE')}) {
    write_file("file.idx", index);
    EXPECT_EQ(rebuild(), "0 2 0") << index.size();
    file = ISOPEN("file", kSharedMode);
    EXPECT_EQ(walk(file) + play(file, "e1 e2 e3 w2y d2"), "1x 111 3z ok ok");
    ASSERT_EQ(ISCLOSE(file), 0);
  }
  std::filesystem::remove("file.idx");
  std::string torn = data;
  torn[isam::kDataStart + sizeof(isam::SlotHeader)] ^= 1;  // in the first record
  write_file("file.dat", torn);
  EXPECT_EQ(rebuild(), "0 1 1");
  write_file("file.dat", data.substr(0, 100));
  EXPECT_EQ(rebuild(), "105 0 0");
}

TEST_F(IsamTest, AnExclusiveFileIsNobodyElses) {
  const auto refuses = [](int mode) {
    const auto body = [mode] { EXPECT_EQ(error_of(ISOPEN("file", mode)), kIsFileLocked); };
    body();
    EXPECT_EQ(run_process(body), 0);
  };
  const int file = build();
  refuses(kSharedMode);
  ASSERT_EQ(ISCLOSE(file), 0);
  const int shared = ISOPEN("file", kSharedMode);
  refuses(kExclusiveMode);
  play_elsewhere("w1", "ok");
  EXPECT_EQ(ISCLOSE(shared), 0);
}

TEST_F(IsamTest, RecordLocksHoldBetweenProcesses) {
  int file = ISBUILD("file", 8, kPrimary, kSharedMode);
  EXPECT_EQ(play(file, "w1 w2 w3 E2"), "ok ok ok 2a");
  // Only who wants the lock is kept out. What it locks is given back by its death.
  play_elsewhere("e2 E2 n d2 E3", "2a 107 3a 107 3a");
  const int second = ISOPEN("file", kSharedMode);  // of the same process: no conflict
  EXPECT_EQ(play(second, "E2 E3"), "2a 3a");
  EXPECT_EQ(ISCLOSE(second), 0);
  EXPECT_EQ(play(file, "r"), "ok");
  play_elsewhere("E2 E3", "2a 3a");
  EXPECT_EQ(ISCLOSE(file), 0);
  // Each read locks, and gives the one before back.
  file = ISOPEN("file", kIsInputOutput | kIsAutoLock);
  EXPECT_EQ(play(file, "f n"), "1a 2a");
  play_elsewhere("E1 E2", "1a 107");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// Whoever replaces a record under its lock keeps it, also while the record is not there.
TEST_F(IsamTest, ALockStandsForThePrimaryKey) {
  const int file = ISBUILD("file", 8, kPrimary, kSharedMode);
  EXPECT_EQ(play(file, "w2 E2 d2"), "ok 2a ok");
  play_elsewhere("e2 E2 w2x", "111 107 107");
  EXPECT_EQ(play(file, "w2b"), "ok");
  play_elsewhere("e2 E2 d2", "2b 107 107");
  EXPECT_EQ(play(file, "d2 r"), "ok ok");
  play_elsewhere("E2 w2x", "111 ok");
  EXPECT_EQ(play(file, "e2"), "2x");
  EXPECT_EQ(ISCLOSE(file), 0);
}

TEST_F(IsamTest, AccessIsWhatTheModeSays) {
  ASSERT_EQ(ISCLOSE(build()), 0);
  const int input = ISOPEN("file", kIsInput | kIsManualLock);
  const int output = ISOPEN("file", kIsOutput | kIsManualLock);
  EXPECT_EQ(play(output, "w1 f"), "ok 101");
  EXPECT_EQ(play(input, "f w2 d1"), "1a 101 101");
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
  while (ISWRITE(file, record(written).data()) == 0)
    ++written;
  EXPECT_EQ(iserrno, EFBIG);
  EXPECT_EQ(iscount(file), written);
  EXPECT_EQ(walk(file), "");
  // What is deleted makes room, without a flush as well.
  EXPECT_EQ(play(file, "d7 w7 d7 w7b d8 w8 w-1"), "ok ok ok ok ok ok " + std::to_string(EFBIG));
  limit(RLIM_INFINITY);
  EXPECT_EQ(play(file, "w-1 e7"), "ok 7b");
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
  EXPECT_EXIT(report(), testing::ExitedWithCode(1), "FATAL: orders");
  EXPECT_EQ(read_file("disam.err"),
            "\nFATAL: orders\nerror 105 in change line 42 ( version version 3.4 (325.1) )\n"
            "ISWRITE TREEINSE \n");
}

}  // namespace
}  // namespace marigold::test
