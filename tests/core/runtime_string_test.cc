#include "runtime/core/runtime_string.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/core/user_interface.h"

namespace marigold {
namespace {

TEST(RuntimeStringTest, LengthIsMeasuredUpTo249Characters) {
  EXPECT_EQ(st_length(""), 0);
  EXPECT_EQ(st_length(std::string(249, 'x').c_str()), 249);
  EXPECT_DEATH(st_length(std::string(250, 'x').c_str()), "system error 17");
}

TEST(RuntimeStringTest, NationalLettersHaveCapitals) {
  EXPECT_EQ(st_upper('z'), 'Z');
  EXPECT_EQ(st_upper('{'), '{');
  EXPECT_EQ(st_upper('\xE4'), '\xC4');  // a with diaeresis
  EXPECT_EQ(st_upper('\xFE'), '\xDE');  // thorn
  for (const char alone : {'\xDF', '\xF7', '\xFF', '_', '1'})
    EXPECT_EQ(st_upper(alone), alone);
}

TEST(TextBufferTest, AppendIsWholeOrNotAtAll) {
  TextBuffer<5> buffer("abc");
  EXPECT_FALSE(buffer.append("def"));
  EXPECT_EQ(buffer.view(), "abc");
  EXPECT_TRUE(buffer.append("de"));
  EXPECT_STREQ(buffer.c_str(), "abcde");
  buffer.append_cut("f");
  EXPECT_EQ(buffer.length(), 5U);
  buffer.assign_cut("longer than five");
  EXPECT_STREQ(buffer.c_str(), "longe");
}

}  // namespace
}  // namespace marigold
