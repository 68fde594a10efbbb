// SPDX-License-Identifier: GPL-3.0-or-later
// Guesses at the slots of records. A wrong or missing guess only costs time, so no test of reading
// would notice a useless table. A table that is about to grow has lost one guess in twenty to other
// entries of the same bucket.

#include "runtime/isam/local/slot_hints.h"

#include <gtest/gtest.h>

#include "runtime/isam/common/checksum.h"

namespace marigold::inner::isam {
namespace {

std::uint64_t hash_of(std::uint64_t key) {
  return long_checksum(std::as_bytes(std::span(&key, 1)));
}

std::size_t known(SlotHints& hints, std::uint32_t from, std::uint32_t to, std::uint32_t added) {
  std::size_t count = 0;
  for (std::uint32_t key = from; key < to; ++key)
    count += hints.guess(hash_of(key)) == key + added ? 1 : 0;
  return count;
}

TEST(SlotHintsTest, WhatAFileHasRoomForIsKnownWhileTheTableGrows) {
  constexpr std::uint32_t kKeys = 200'000;
  SlotHints hints;
  EXPECT_EQ(hints.guess(hash_of(1)), 0U);
  hints.expect(kKeys);
  for (std::uint32_t key = 1; key <= kKeys; ++key) {
    hints.note(hash_of(key), key);
    ASSERT_EQ(hints.guess(hash_of(key)), key);
    ASSERT_TRUE(key % 1000 != 0 || known(hints, key - 999, key, 0) >= 900) << key;
  }
  EXPECT_GE(known(hints, 1, kKeys + 1, 0), kKeys / 10 * 9);
}

TEST(SlotHintsTest, TheLaterPlaceOfARecordReplacesTheEarlierOne) {
  constexpr std::uint32_t kKeys = 50'000;
  SlotHints hints;
  hints.expect(kKeys);
  // Notes twice as many keys as the table held before it grew last: later slots are noted while
  // entries of the smaller table are still to be moved.
  for (std::uint32_t key = 1; key <= kKeys; ++key) {
    hints.note(hash_of(key), key);
    if (key % 2 == 0) hints.note(hash_of(key / 2), key / 2 + 7);
  }
  EXPECT_GE(known(hints, 1, kKeys / 2 + 1, 7), kKeys / 2 / 10 * 8);
  EXPECT_EQ(known(hints, 1, kKeys / 2 + 1, 0), 0U);
}

TEST(SlotHintsTest, ATableThatMayNotGrowForgets) {
  SlotHints hints;
  hints.expect(100);
  for (std::uint32_t key = 1; key <= 100'000; ++key)
    hints.note(hash_of(key), key);
  EXPECT_EQ(hints.guess(hash_of(100'000)), 100'000U);
  EXPECT_EQ(hints.guess(hash_of(1)), 0U);
}

}  // namespace
}  // namespace marigold::inner::isam
