// SPDX-License-Identifier: GPL-3.0-or-later
// Promises of the operations that every engine keeps: keys and numbers, modes, errors, locks between
// processes. model_test.cc tests which record a read finds.

#include <algorithm>
#include <array>
#include <cerrno>

#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

constexpr KeyDescription kBoth{1, 2, {{{4, 1, kIsCharacters}, {0, 4, kIsInt4}}}};

struct EnginesTest : testing::Test {
  WorkDirectory directory;
};

TEST_F(EnginesTest, ArgumentsAreChecked) {
  EXPECT_EQ(error_of(ISOPEN(at("missing").c_str(), kSharedMode)), ENOENT);
  ASSERT_EQ(ISCLOSE(build()), 0);
  for (const int mode : {0x602, 0xA00, 0xE00, 3, 15})
    EXPECT_EQ(error_of(ISOPEN(at("file").c_str(), mode)), kIsBadArgument) << mode;
  for (const int mode : {14, 0x8400, 0})
    EXPECT_EQ(error_of(ISCLOSE(ISOPEN(at("file").c_str(), mode))), 0) << mode;
  for (const auto& [name, length, error] : {std::tuple{"file"s, 8, EEXIST},
                                            {std::string(1025, 'x'), 8, kIsNameTooLong},
                                            {"other", 0, kIsBadArgument},
                                            {"other", 32768, kIsBadArgument},
                                            {"other", 3, kIsBadKey}})
    EXPECT_EQ(error_of(ISBUILD(at(name).c_str(), length, kPrimary, kExclusiveMode)), error)
        << length;
  EXPECT_EQ(error_of(ISOPEN(at("other").c_str(), kSharedMode)), ENOENT);
  for (const int descriptor : {-1, 0, 29, 30})
    EXPECT_EQ(error_of(ISFLUSH(descriptor)), kIsNotOpen);
  for (int i = 0; i < 30; ++i)
    ASSERT_EQ(ISOPEN(at("file").c_str(), kSharedMode), i);
  EXPECT_EQ(error_of(ISOPEN(at("file").c_str(), kSharedMode)), kIsTooMany);
  for (int i = 0; i < 30; ++i)
    EXPECT_EQ(ISCLOSE(i), 0);
}

TEST_F(EnginesTest, KeysAreAddedOverTheRecordsOfAFileOfOnesOwn) {
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
  const int shared = ISOPEN(at("file").c_str(), kSharedMode);
  EXPECT_EQ(error_of(ISADDINDEX(shared, kLetter)), kIsNotExclusive);
  play(shared, "f=3x");
  EXPECT_EQ(ISCLOSE(shared), 0);
}

// Flushes between the changes, since slots are used again then.
TEST_F(EnginesTest, ASnapshotHasTheRecordsOfItsMomentInTheOrderOfWriting) {
  const int file = build(kSharedMode);
  for (const char* steps : {"w5a w3b w4c w1d", "d3", "w3e d4", "w6f w4g"}) {
    play(file, steps);
    ASSERT_EQ(ISFLUSH(file), 0);
  }
  ASSERT_EQ(ISREPLACE(file, record(5, 'h').data()), 0);
  ASSERT_EQ(issnapshot(std::array{file}), 0) << isreason();
  play_elsewhere("d1 w7x d3");
  EXPECT_EQ(issnapshot_count(file), 5);
  std::string found;
  std::string bytes = record(0);
  while (issnapshot_read(file, bytes.data()) == 0)
    found += std::to_string(isld_int4(bytes.data())) + bytes[4] + " ";
  EXPECT_EQ(iserrno, kIsEndOfFile);
  EXPECT_EQ(found, "1d 3e 6f 4g 5h ");
  EXPECT_EQ(issnapshot_end(file), 0);
  EXPECT_EQ(error_of(issnapshot_read(file, bytes.data())), kIsNotOpen);
  play(file, "f=4g l=7x");
  EXPECT_EQ(ISCLOSE(file), 0);
}

// A node loses its first child, takes a record that belongs into the gap, and merges with its left
// neighbour: its bound must then become the bound of the first child. The keys are so long that a
// node holds seven.
TEST_F(EnginesTest, ARecordInTheGapOfALostChildStaysInReach) {
  const int file =
      ISBUILD(at("file").c_str(), 255, {0, 1, {{{0, 255, kIsCharacters}}}}, kExclusiveMode);
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

TEST_F(EnginesTest, ModesSayWhoMayDoWhat) {
  const auto refuses = [](int mode) {
    const auto body = [](int own) {
      EXPECT_EQ(error_of(ISOPEN(at("file").c_str(), own)), kIsFileLocked);
    };
    body(mode);
    EXPECT_EQ(run_child(body, mode), 0);
  };
  const int file = build();
  refuses(kSharedMode);
  ASSERT_EQ(ISCLOSE(file), 0);
  const int input = ISOPEN(at("file").c_str(), kIsInput | kIsManualLock);
  const int output = ISOPEN(at("file").c_str(), kIsOutput | kIsManualLock);
  refuses(kExclusiveMode);
  play_elsewhere("w1");
  play(output, "w2 f=101");
  play(input, "f=1a w3=101 d1=101");
  EXPECT_EQ(ISCLOSE(input) + ISCLOSE(output), 0);
}

TEST_F(EnginesTest, RecordLocksHoldBetweenProcesses) {
  int file = build(kSharedMode);
  play(file, "w1 w2 w3 E2=2a");
  // A lock keeps out only processes that lock as well. A process that dies gives its locks back.
  play_elsewhere("e2=2a E2=107 n=3a d2=107 E3=3a");
  const int second = ISOPEN(at("file").c_str(), kSharedMode);  // in the same process: no conflict
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
  file = ISOPEN(at("file").c_str(), kIsInputOutput | kIsAutoLock);
  play(file, "f=1a n=2x");
  play_elsewhere("E1=1a E2=107");
  EXPECT_EQ(ISCLOSE(file), 0);
}

}  // namespace
}  // namespace marigold::inner::test
