#include "runtime/data/version.h"

#include "tests/data/support.h"

namespace marigold::test {

TEST(VersionTest, NumbersAreWrittenWithoutWhatSaysNothing) {
  const std::pair<double, const char*> rows[] = {{0, "0"},
                                                 {3, "3"},
                                                 {7, "7"},
                                                 {12.5, "12.5"},
                                                 {2.25, "2.25"},
                                                 {-3, "-3"},
                                                 {100, "100"},
                                                 {0.001, "0.001"},
                                                 {1e-7, "0"},
                                                 {1234567890, "1234567890"},
                                                 {1.234567, "1.23457"},
                                                 {1e11, "100000000000"},
                                                 {123456789.125, "123456789.125"}};
  for (const auto& [version, expected] : rows)
    EXPECT_EQ(version_text(version), expected);
}

TEST_F(DataTest, AVersionRecordStandsBesideItsFile) {
  const FileDefinition& file = definition_get("CUSTOMER");
  EXPECT_EQ(version_read_file(file), -3);  // none
  std::filesystem::create_directories("data/4");
  version_write_file(file, 12.5);
  EXPECT_EQ(read_file("data/4/CUSTOMER.ver"), "12.5\n");
  EXPECT_EQ(version_read_file(file), 12.5);
  const std::pair<const char*, double> rows[] = {
      {"# old: 1\n\t 2 # now\n", 2}, {"7", 7}, {"", -3}, {"x3", -3}, {"3x", -3}, {"#", -3}};
  for (const auto& [content, expected] : rows) {
    write_file("data/4/CUSTOMER.ver", content);
    EXPECT_EQ(version_read_file(file), expected) << content;
  }
  std::filesystem::remove("data/4/CUSTOMER.ver");
  std::filesystem::create_directories("data/4/CUSTOMER.ver/in the way");
  EXPECT_EXIT(version_write_file(file, 4), testing::KilledBySignal(SIGABRT),
              "^error\n        12\n");
  EXPECT_FALSE(std::filesystem::exists("data/4/CUSTOMER.ver.new"));
}

}  // namespace marigold::test
