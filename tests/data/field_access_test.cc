// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/field_access.h"

#include "tests/data/support.h"

namespace marigold::inner::test {

TEST_F(DataTest, FieldsStandInTheirPortableForms) {
  DataFile& file = data_file("CUSTOMER");
  file.record.assign(42, '\x7f');
  data_clear_record(file);
  const std::string presets = "\0\7\0\0\xff\xff"s;
  EXPECT_EQ(std::string(file.record.data(), 20), std::string(14, '\0') + presets);
  EXPECT_EQ(std::string(file.record.data() + 28, 14), std::string("x").append(13, '\0'));
  EXPECT_EQ(data_get_double(file, "RATE"), 2.5);
  data_put_long(file, "SNR", -2);
  data_put_text(file, "NAME", "0123456789");
  data_put_text(file, "NAME", "ab ");
  data_put_integer(file, "ZONE", 0x1234, 3);
  data_put_long(file, "SINCE", 311299);
  data_put_text(file, "KIND", "");
  EXPECT_EQ(std::string(file.record.data(), 20),
            "\xff\xff\xff\xfe"s + "ab \0\0\0\0\0\0\0"s + "\0\7\0\0\x12\x34"s);
  EXPECT_EQ(data_get_text(file, "NAME"), "ab ");
  EXPECT_EQ(data_get_text(file, "KIND"), "");
  EXPECT_EQ(data_get_integer(file, "ZONE", 3), 0x1234);
  EXPECT_EQ(data_get_long(file, "SINCE"), 311299);
  EXPECT_EQ(data_get_long(file, "SNR     "), -2);
}

TEST_F(DataTest, WrongUseOfAFieldIsRefused) {
  const FileDefinition file = customer();
  std::string record(42, 'r');
  const auto put = [&](const char* field, int index, auto value) {
    return field_put(*file.find_field(field), index, record.data(), value);
  };
  std::int16_t small = 0;
  std::int32_t large = 0;
  double real = 0;
  std::string_view text;
  const auto get = [&](const char* field, int index, auto& value) {
    return field_get(*file.find_field(field), index, record.data(), value);
  };
  for (const int result :
       {put("SNR", 1, std::int16_t{1}), put("ZONE", 1, 1), put("SNR", 1, 1.0), put("RATE", 1, 1),
        put("RATE", 1, std::string_view("1")), put("NAME", 1, std::string_view("a\0b"s)),
        get("SINCE", 1, small), get("ZONE", 1, large), get("SNR", 1, real), get("SNR", 1, text)})
    EXPECT_EQ(result, kFieldWrongType);
  for (const int result :
       {put("ZONE", 0, std::int16_t{1}), put("ZONE", 4, std::int16_t{1}),
        put("NAME", 2, std::string_view("a")), get("ZONE", -1, small), get("SNR", 2, large)})
    EXPECT_EQ(result, kFieldBadIndex);
  EXPECT_EQ(put("NAME", 1, std::string_view("01234567890")), kFieldTextTooLong);
  EXPECT_EQ(put("KIND", 1, std::string_view("ab")), kFieldTextTooLong);
  EXPECT_EQ(record, std::string(42, 'r'));
}

}  // namespace marigold::inner::test
