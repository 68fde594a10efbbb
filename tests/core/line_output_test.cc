#include "runtime/core/line_output.h"

#include <gtest/gtest.h>

#include <string>

namespace marigold {
namespace {

TEST(LineOutputTest, TextEndsAtItsWidthOrWhereLineAndIndexReachTheBound) {
  struct Row {
    int line;
    int width;
    std::size_t written;
  };
  const std::string text(80, 'x');
  for (const Row& row :
       {Row{2, 6, 6}, Row{3, 60, 60}, Row{5, 60, 58}, Row{6, 60, 57}, Row{6, 200, 57},
        Row{62, 60, 1}, Row{63, 60, 0}, Row{70, 60, 0}, Row{1, 0, 0}, Row{1, -1, 0}}) {
    testing::internal::CaptureStderr();
    line_output_text(row.line, 3, text.c_str(), row.width);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(row.written, 'x') + "\n")
        << row.line << " " << row.width;
  }
}

TEST(LineOutputTest, NumbersAreRightAlignedInTenColumnsAndNeverCut) {
  testing::internal::CaptureStderr();
  line_output_number(2, 10, 12);
  line_output_number(2, 10, -2147483647 - 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "        12\n-2147483648\n");
}

}  // namespace
}  // namespace marigold
