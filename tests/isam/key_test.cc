#include "runtime/isam/key.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace marigold {
namespace {

KeyDescription one_part(KeyPart part) {
  KeyDescription key;
  key.part_count = 1;
  key.parts[0] = part;
  return key;
}

std::string bytes_of(const KeyDescription& key, const std::string& record) {
  std::string bytes(isam::key_length(key), '\0');
  isam::key_from_record(key, record.data(), reinterpret_cast<std::byte*>(bytes.data()));
  return bytes;
}

TEST(IsamKeyTest, DescriptionsAreChecked) {
  struct Row {
    KeyPart part;
    bool good;
  };
  const Row rows[] = {{{0, 10, kIsCharacters}, true},
                      {{9, 1, kIsCharacters}, true},
                      {{9, 2, kIsCharacters}, false},
                      {{-1, 2, kIsCharacters}, false},
                      {{0, 0, kIsCharacters}, false},
                      {{0, 2, kIsInt2}, true},
                      {{0, 3, kIsInt2}, false},
                      {{0, 2, kIsInt4}, false},
                      {{6, 4, kIsInt4}, true},
                      {{0, 8, kIsDouble}, true},
                      {{0, 4, kIsDouble}, false},
                      {{0, 1, 4}, false},
                      {{0, 1, -1}, false}};
  for (const Row& row : rows) {
    EXPECT_EQ(isam::key_check(one_part(row.part), 10), row.good ? 0 : kIsBadKey)
        << row.part.start << " " << row.part.length << " " << row.part.type;
  }
  EXPECT_EQ(isam::key_check(one_part({0, 255, kIsCharacters}), 300), 0);
  EXPECT_EQ(isam::key_check(one_part({0, 256, kIsCharacters}), 300), kIsBadKey);
  KeyDescription parts = one_part({0, 1, kIsCharacters});
  for (const std::int16_t count : {0, -1, 9}) {
    parts.part_count = count;
    EXPECT_EQ(isam::key_check(parts, 10), kIsBadKey) << count;
  }
}

TEST(IsamKeyTest, NumbersOrderAsNumbers) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const double doubles[] = {-infinity, -1e300, -1.5, -1e-310, 0, 1e-310, 1.5, 1e300, infinity, nan};
  std::string last;
  for (const double value : doubles) {
    std::string record(8, '\0');
    isst_double(value, record.data());
    const std::string bytes = bytes_of(one_part({0, 8, kIsDouble}), record);
    EXPECT_LT(last, bytes) << value;
    last = bytes;
  }
  std::string negative_zero(8, '\0');
  std::string zero(8, '\0');
  isst_double(-0.0, negative_zero.data());
  const auto key = one_part({0, 8, kIsDouble});
  EXPECT_EQ(bytes_of(key, negative_zero), bytes_of(key, zero));
  isst_double(-nan, zero.data());
  EXPECT_EQ(bytes_of(key, zero), last);
  last.clear();
  for (const std::int32_t value : {-2147483647 - 1, -65536, -1, 0, 1, 255, 256, 2147483647}) {
    std::string record(4, '\0');
    isst_int4(value, record.data());
    EXPECT_LT(last, bytes_of(one_part({0, 4, kIsInt4}), record)) << value;
    last = bytes_of(one_part({0, 4, kIsInt4}), record);
  }
}

TEST(IsamKeyTest, NumbersInRecordsAreTheSameOnEveryMachine) {
  char bytes[8];
  isst_int2(-2, bytes);
  EXPECT_EQ(std::string(bytes, 2), "\xFF\xFE");
  EXPECT_EQ(isld_int2(bytes), -2);
  isst_int4(0x01020384, bytes);
  EXPECT_EQ(std::string(bytes, 4), "\x01\x02\x03\x84");
  EXPECT_EQ(isld_int4(bytes), 0x01020384);
  isst_double(-12.5, bytes);
  EXPECT_EQ(isld_double(bytes), -12.5);
}

}  // namespace
}  // namespace marigold
