#include "tools/text_id.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace marigold {
namespace {

TEST(TextIdTest, ListsChainsByNumberAndSystemTextsByTheCatalogue) {
  const std::vector<std::string> listed = {"A",
                                           "A+",
                                           "A+1",
                                           "A+2",
                                           "A+10",
                                           "A+02",
                                           "A+1x",
                                           "A+B+",
                                           "A+B+2",
                                           "B",
                                           "b",
                                           "\xE4",
                                           "SYSDEF.systxt_back",
                                           "SYSDEF.syschr_no",
                                           "SYSDEF.syserr_2",
                                           "SYSDEF.syserr_10",
                                           "SYSDEF.a",
                                           "SYSDEF.b"};
  std::vector<std::string> sorted = listed;
  std::ranges::shuffle(sorted, std::mt19937(1));
  std::ranges::sort(sorted, listed_before);
  EXPECT_EQ(sorted, listed);
}

TEST(TextIdTest, OnlyNumbersAsTheCommandWritesThemContinueAChain) {
  for (const char* id : {"A", "A+0", "A+01", "A+-1", "A+1 ", "A+1x", "A+9999999999"})
    EXPECT_FALSE(chain_place(id).has_value()) << id;
  const auto place = chain_place("C+++12");
  ASSERT_TRUE(place.has_value());
  EXPECT_EQ(place->chain, "C+++");
  EXPECT_EQ(place->number, 12U);
  EXPECT_EQ(chain_place("+")->number, 0U);
}

}  // namespace
}  // namespace marigold
