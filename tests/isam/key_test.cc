#include "runtime/isam/key.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <string>

namespace marigold {
namespace {

KeyDescription one_part(KeyPart part) {
  return {.flags = 0, .part_count = 1, .parts = {{part}}};
}

// The bytes by which a key of this one value is ordered.
template <typename Value>
std::string bytes_of(std::int16_t type, void (*store)(Value, char*), Value value) {
  std::string record(sizeof value, '\0');
  std::string bytes(sizeof value, '\0');
  store(value, record.data());
  isam::key_from_record(one_part({0, sizeof value, type}), record.data(),
                        reinterpret_cast<std::byte*>(bytes.data()));
  return bytes;
}

// Values that ascend give bytes that do; the last one's.
template <typename Value>
std::string expect_ascending(std::int16_t type, void (*store)(Value, char*),
                             std::initializer_list<Value> values) {
  std::string last;
  for (const Value value : values) {
    const std::string bytes = bytes_of(type, store, value);
    EXPECT_LT(last, bytes) << value;
    last = bytes;
  }
  return last;
}

TEST(IsamKeyTest, DescriptionsAreChecked) {
  const KeyPart good[] = {{0, 10, kIsCharacters},
                          {9, 1, kIsCharacters},
                          {0, 2, kIsInt2},
                          {6, 4, kIsInt4},
                          {0, 8, kIsDouble}};
  const KeyPart bad[] = {{9, 2, kIsCharacters},
                         {-1, 2, kIsCharacters},
                         {0, 0, kIsCharacters},
                         {0, 3, kIsInt2},
                         {0, 2, kIsInt4},
                         {0, 4, kIsDouble},
                         {0, 1, 4},
                         {0, 1, -1}};
  for (const KeyPart& part : good)
    EXPECT_EQ(isam::key_check(one_part(part), 10), 0) << part.start << " " << part.type;
  for (const KeyPart& part : bad)
    EXPECT_EQ(isam::key_check(one_part(part), 10), kIsBadKey) << part.start << " " << part.type;
  EXPECT_EQ(isam::key_check(one_part({0, 255, kIsCharacters}), 300), 0);
  EXPECT_EQ(isam::key_check(one_part({0, 256, kIsCharacters}), 300), kIsBadKey);
  KeyDescription parts = one_part({0, 1, kIsCharacters});
  for (const int count : {0, -1, 9}) {
    parts.part_count = static_cast<std::int16_t>(count);
    EXPECT_EQ(isam::key_check(parts, 10), kIsBadKey) << count;
  }
}

TEST(IsamKeyTest, NumbersOrderAsNumbers) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string greatest = expect_ascending<double>(
      kIsDouble, isst_double,
      {-infinity, -1e300, -1.5, -1e-310, 0, 1e-310, 1.5, 1e300, infinity, nan});
  EXPECT_EQ(bytes_of(kIsDouble, isst_double, -nan), greatest);
  EXPECT_EQ(bytes_of(kIsDouble, isst_double, -0.0), bytes_of(kIsDouble, isst_double, 0.0));
  expect_ascending<std::int32_t>(kIsInt4, isst_int4,
                                 {-2147483647 - 1, -65536, -1, 0, 1, 255, 256, 2147483647});
  expect_ascending<std::int16_t>(kIsInt2, isst_int2, {-32768, -256, -1, 0, 1, 255, 256, 32767});
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
