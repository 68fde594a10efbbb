// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/edit_mask.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace marigold::inner::test {
namespace {

TEST(EditMaskTest, NumbersAreShownByTheirMask) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  // A number that shows as zero has no sign.
  // clang-format off
  const struct {
    const char* mask;
    double value;
    const char* text;
  } cases[] = {
      {"#####0", 42, "    42"}, {"#####0", 0, "     0"}, {"####", 0, "    "},
      {"####", 9999, "9999"}, {"####", 10000, "****"}, {"0000", 7, "0007"}, {"#0##", 7, " 007"},
      {"####0,00", 12.345, "   12,35"}, {"####0,00", 2.675, "    2,68"},
      {"####0,00", 99999.995, "********"}, {"0,00000000000", 0.5, "0,50000000000"},
      {"-###############", -5, "-              5"},
      {"-###############", 123456789012345, " 123456789012345"}, {"-##0,0", -0.04, "   0,0"},
      {"-##0,0", -0.05, "-  0,1"}, {"##0", -1, "***"}, {"##.##0,00", 5, "     5,00"},
      {"##.##0,00", 12345.6, "12.345,60"}, {"##0 %", 12, " 12 %"}, {"##0 %", 1e300, "*****"},
      {"##0", kNan, "***"}, {"0,00", 5e-324, "0,00"}, {"", 0, ""}, {"abc", 0, "abc"},
      {"abc", 1, "***"}};
  // clang-format on
  for (const auto& [mask, value, text] : cases)
    EXPECT_EQ(edit_number(mask, value), text) << mask << " " << value;
}

TEST(EditMaskTest, TextsAreReadByTheirMask) {
  constexpr double kNone = -1e99;
  const struct {
    const char* mask;
    const char* text;
    double value;
  } cases[] = {
      {"#####0", "    42", 42},        {"####", "", 0},
      {"####", "12345", kNone},        {"####", "00012", 12},
      {"####0,00", "   12,35", 12.35}, {"####0,00", ",5", 0.5},
      {"####0,00", "1,234", kNone},    {"####0,00", "1,2,3", kNone},
      {"####", "1,2", kNone},          {"##.##0,00", "12.345,60", 12345.6},
      {"####", "1.2", kNone},          {"-##0", "-  5", -5},
      {"-##0", "5-", kNone},           {"##0", "-5", kNone},
      {"##0 %", " 12 %", 12},          {"##0", "***", kNone},
      {"##0", "1#2", kNone},           {"##0", "abc", kNone},
  };
  for (const auto& [mask, text, value] : cases) {
    double read = kNone;
    EXPECT_EQ(read_number(mask, text, read), value != kNone) << mask << " " << text;
    EXPECT_EQ(read, value) << mask << " " << text;
  }
}

// Long masks use another algorithm, which must give the same digits.
TEST(EditMaskTest, MasksOfAnyLengthShowTheSame) {
  const std::string words(40, 'x');
  for (const std::string mask : {"-##.##0,00", "#0.###,#", "-#.###.###", "00.00", ".##,0#.#"}) {
    for (double value = -7; std::abs(value) < 1e9; value *= -1.37) {
      const std::string shown = edit_number(mask, value);
      const bool fits = shown[0] != '*';
      EXPECT_EQ(edit_number(mask + words, value), shown + (fits ? words : std::string(40, '*')))
          << mask << " " << value;
    }
  }
}

}  // namespace
}  // namespace marigold::inner::test
