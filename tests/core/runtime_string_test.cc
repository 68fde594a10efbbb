// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/runtime_string.h"

#include "runtime/core/user_interface.h"
#include "tests/support/process.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(RuntimeStringTest, LengthIsMeasuredUpTo249Characters) {
  EXPECT_EQ(st_length(std::string(249, 'x').c_str()), 249);
  const auto measure_250 = [] { st_length(std::string(250, 'x').c_str()); };
  EXPECT_EXIT(measure_250(), aborted, "^system error 17\n$");
  user_interface().fatal = [](int /*number*/) {};  // a report that returns changes nothing
  EXPECT_EXIT(measure_250(), aborted, "^$");
  user_interface_start();
}

TEST(RuntimeStringTest, NationalLettersHaveCapitals) {
  std::string text = "az{`\xE0\xF6\xF8\xFE\xDF\xF7\xFF_1";
  for (char& character : text)
    character = st_upper(character);
  // Sharp s, the division sign and y with diaeresis have no capital.
  EXPECT_EQ(text, "AZ{`\xC0\xD6\xD8\xDE\xDF\xF7\xFF_1");
}

TEST(TextBufferTest, AppendIsWholeOrNotAtAll) {
  TextBuffer<5> buffer("abc");
  EXPECT_FALSE(buffer.append("def"));
  EXPECT_EQ(buffer.view(), "abc");
  EXPECT_TRUE(buffer.append("de"));
  buffer.append_cut("f");
  EXPECT_STREQ(buffer.c_str(), "abcde");
}

}  // namespace marigold::inner::test
